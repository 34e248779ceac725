// Reading of a process that is a unit. It needs no library.
#include <algorithm>
#include <filesystem>

#include "fmu/process.h"
#include "runtime/block_entries.h"

namespace fmu {
namespace {

constexpr double kLongestPatience = 1e6;  // seconds

std::string ExpectVariable(runtime::CBlockText& text) {
  const bool isQuoted = text.Peek().kind == runtime::TBlockWord::kText;
  std::string name = isQuoted ? text.ExpectText() : text.ExpectName("a variable of the unit");
  text.Expect("=");
  return name;
}

constexpr runtime::TEntry<TUnitProcess> kEntries[] = {
    {"fmu",
     [](runtime::CBlockText& text, TUnitProcess& process) {
       process.offset = text.Peek().offset;
       process.name = std::filesystem::path(text.ExpectText()).lexically_normal().string();
     }},
    {"inputs",
     [](runtime::CBlockText& text, TUnitProcess& process) {
       do {
         std::string name = ExpectVariable(text);
         process.inputs.push_back({std::move(name), text.ExpectExpression(false)});
       } while (text.TakeIf(","));
     },
     runtime::EEntryForm::kBlock},
    {"outputs",
     [](runtime::CBlockText& text, TUnitProcess& process) {
       do {
         std::string name = ExpectVariable(text);
         process.outputs.push_back({std::move(name), text.ExpectItem()});
       } while (text.TakeIf(","));
     },
     runtime::EEntryForm::kBlock},
    {"patience",
     [](runtime::CBlockText& text, TUnitProcess& process) {
       const std::uint32_t place = text.Peek().offset;
       process.patience = text.ExpectNumber();
       if (!(process.patience > 0.0 && process.patience <= kLongestPatience)) {
         text.Fail(place, "expected seconds above 0");
       }
     }},
};

}  // namespace

void CProcessReader::Read(runtime::CBlockText& text) {
  TUnitProcess process;
  runtime::ReadEntries(text, kEntries, "", process);
  process.path = (std::filesystem::path(folder) / process.name).string();
  processes.push_back(std::move(process));
}

bool GoesAlong(const TUnitProcess& process, std::string* error) {
  const std::filesystem::path name = process.name;
  if (name.is_relative() && std::find(name.begin(), name.end(), "..") == name.end()) return true;
  *error = process.path + ": the unit stands outside the application's folder and can't go along with the text";
  return false;
}

}  // namespace fmu
