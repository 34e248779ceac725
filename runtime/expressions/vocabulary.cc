#include "runtime/expressions/vocabulary.h"

#include <algorithm>
#include <iterator>

namespace runtime {
namespace {

constexpr std::string_view kOfBlocks[] = {"end_application", "end_data",   "end_instrument",
                                          "end_process",     "end_script", "substeps"};

template <typename TRow, std::size_t n>
bool Has(const TRow (&rows)[n], std::string_view TRow::*word, std::string_view name) {
  return std::any_of(std::begin(rows), std::end(rows), [&](const TRow& row) { return row.*word == name; });
}

}  // namespace

bool IsReservedName(std::string_view name) {
  return name == kNotSpelling || Has(kOperators, &TOperator::spelling, name) ||
         Has(kConstants, &TConstant::name, name) || Has(kFunctions, &TFunction::name, name) ||
         Has(kForms, &TForm::name, name) ||
         std::find(std::begin(kOfBlocks), std::end(kOfBlocks), name) != std::end(kOfBlocks);
}

}  // namespace runtime
