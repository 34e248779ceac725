#include "workbench/run/recorder.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "workbench/whole_file.h"

namespace workbench {
namespace {

namespace fs = std::filesystem;

constexpr double kBetweenFlushes = 0.5;  // seconds

double Now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

}  // namespace

bool CRecorder::Begin(const std::string& folder, const runtime::CApplication& application, const std::string& text,
                      const std::string& connections, TRecordHead theHead, std::string* error) {
  place = folder;
  head = std::move(theHead);
  std::error_code failed;
  fs::create_directories(place, failed);
  const bool isEmpty = !failed && fs::is_empty(place, failed);
  if (failed) *error = place + ": the record can't be made: " + failed.message();
  if (!failed && !isEmpty) *error = place + ": the record needs a folder of its own: this one isn't empty";
  if (failed || !isEmpty) return false;

  std::vector<std::string> texts = application.IncludedFiles();
  texts.insert(texts.begin(), text);
  for (const std::string& path : texts) {
    std::string name = fs::path(path).filename().string();
    if (path == connections) head.connections = name.insert(0, "connections.");
    if (!Copy(path, kRecordTexts, name, error)) return false;
    if (path == text) head.application = name;
    head.texts.push_back(std::move(name));
  }
  const fs::path own = fs::path(text).parent_path();
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    for (const std::string& path : application.Instrument(i).Files()) {
      if (!fs::exists(path, failed)) continue;
      head.files.push_back(fs::path(path).lexically_relative(own.empty() ? "" : own).string());
    }
  }
  for (const std::string& name : head.files) {
    if (!Copy((own / name).string(), kRecordFiles, name, error)) return false;
  }
  return WriteWholeFile(place + "/" + kRecordCommands, CommandColumns(), error) && WriteHead(error);
}

bool CRecorder::Copy(const std::string& from, const std::string& folder, const std::string& name, std::string* error) {
  const fs::path to = fs::path(place) / folder / name;
  std::error_code failed;
  fs::create_directories(to.parent_path(), failed);
  if (!failed) fs::copy_file(from, to, failed);
  if (failed) *error = to.string() + ": the record can't be written: " + failed.message();
  return !failed;
}

bool CRecorder::WriteHead(std::string* error) const {
  return WriteWholeFile(place + "/" + kRecordHead, head.Value().Text(2) + "\n", error);
}

bool CRecorder::OpenTrace(runtime::CApplication& application, std::string* error) {
  return trace.Open(place + "/" + kRecordTrace, application, {}, error);
}

bool CRecorder::NoteBegun(TRecordHead::TBegun begun, std::string* error) {
  head.begun.push_back(std::move(begun));
  return WriteHead(error);
}

bool CRecorder::WriteCommand(const TRecordedCommand& command, std::string* error) {
  const std::string path = place + "/" + kRecordCommands;
  if (commands == nullptr) commands.reset(std::fopen(path.c_str(), "abe"));
  const std::string row = CommandRow(command);
  if (commands != nullptr && std::fwrite(row.data(), 1, row.size(), commands.get()) == row.size() &&
      std::fflush(commands.get()) == 0) {
    return true;
  }
  *error = path + ": the record can't be written: " + std::strerror(errno);
  return false;
}

bool CRecorder::WriteRow(std::string* error) {
  trace.WriteRow();
  const double now = Now();
  if (!trace.Failed() && now - flushedAt < kBetweenFlushes) return true;
  flushedAt = now;
  return trace.Flush(error);
}

bool CRecorder::End(std::uint64_t periods, std::string* error) {
  const bool isClosed = !trace.IsOpen() || trace.Close(error);
  head.periods = periods;
  std::string further;
  return WriteHead(isClosed ? error : &further) && isClosed;
}

}  // namespace workbench
