#include "runtime/expressions/vocabulary.h"

#include <algorithm>
#include <iterator>

#include "runtime/text/near_names.h"

namespace runtime {
namespace {

constexpr std::string_view kOfBlocks[] = {"end_application", "end_data",   "end_instrument",
                                          "end_process",     "end_script", "substeps"};

// What other languages call what is here.
struct TForeignName {
  std::string_view name;
  std::string_view meant;
};
constexpr TForeignName kForeignNames[] = {
    {"log", "'ln' or 'log10'"}, {"pow", "'^'"},       {"mod", "'%'"}, {"fmod", "'%'"},
    {"fabs", "'abs'"},          {"clamp", "'limit'"},
};

template <std::size_t n>
bool Has(const std::string_view (&words)[n], std::string_view name) {
  return std::find(std::begin(words), std::end(words), name) != std::end(words);
}

template <typename TRow, std::size_t n>
bool Has(const TRow (&rows)[n], std::string_view TRow::*word, std::string_view name) {
  return std::any_of(std::begin(rows), std::end(rows), [&](const TRow& row) { return row.*word == name; });
}

}  // namespace

bool IsReservedName(std::string_view name) {
  return name == kNotSpelling || Has(kOperators, &TOperator::spelling, name) ||
         Has(kConstants, &TConstant::name, name) || Has(kFunctions, &TFunction::name, name) ||
         Has(kForms, &TForm::name, name) || Has(kOfBlocks, name);
}

bool IsBlockKeyword(std::string_view name) { return Has(kBlockKeywords, name) || Has(kBlocksOfOthers, name); }

std::string MeantBy(std::string_view name, const CDataElements& elements, const TNamedNumbers* numbers) {
  for (const TForeignName& row : kForeignNames) {
    if (row.name == name) return "; did you mean " + std::string(row.meant) + "?";
  }
  CNearNames near(name);
  for (std::int32_t i = 0; i < elements.Count(); ++i) near.Offer(elements[i].name);
  if (numbers != nullptr) {
    for (const auto& [number, value] : *numbers) near.Offer(number);
  }
  for (const TFunction& row : kFunctions) near.Offer(row.name);
  for (const TForm& row : kForms) near.Offer(row.name);
  for (const TConstant& row : kConstants) near.Offer(row.name);
  for (const TOperator& row : kOperators) near.Offer(row.spelling);
  for (const std::string_view known : {kNotSpelling, kGoodName, kAgeName}) near.Offer(known);
  return near.Question();
}

}  // namespace runtime
