#include "workbench/document.h"

#include <algorithm>
#include <utility>

#include "runtime/runtime.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr std::size_t kTextWidth = 100;  // columns

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (std::string_view("\\`*_[]<>|").find(c) != std::string_view::npos) escaped += '\\';
    escaped += c;
  }
  return escaped;
}

// In a table a bar ends a cell, even within code.
std::string Code(const std::string& text) {
  if (text.empty()) return text;
  std::string code = "`";
  for (const char c : text) code += c == '|' ? std::string("\\|") : std::string(1, c);
  return code + "`";
}

std::string TableText(const TDocumentTable& table) {
  if (table.rows.empty()) return "  " + runtime::Translated("none") + "\n";
  CTable aligned;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < table.aligned; ++i) names.push_back(runtime::Translated(table.columns[i].name));
  aligned.Add(std::move(names));
  for (const auto& row : table.rows) {
    aligned.Add({row.begin(), row.begin() + static_cast<std::ptrdiff_t>(table.aligned)});
  }
  const std::vector<std::string> lines = aligned.Lines(2, 3);
  std::string text = lines[0];
  for (std::size_t row = 0; row < table.rows.size(); ++row) {
    text += lines[row + 1];
    for (std::size_t i = table.aligned; i < table.columns.size(); ++i) {
      const std::string& cell = table.rows[row][i];
      const bool isNamed = !table.columns[i].isCode && i + 1 < table.columns.size() && !cell.empty();
      const std::string name =
          isNamed && table.columns[i].name != "meaning" ? runtime::Translated(table.columns[i].name) + ": " : "";
      text += Indented(name + cell, 6, kTextWidth);
    }
  }
  return text;
}

std::string TableMarkdown(const TDocumentTable& table) {
  if (table.rows.empty()) return runtime::Translated("None.") + "\n";
  std::string text = "|";
  for (const auto& column : table.columns) text += " " + runtime::Translated(column.name) + " |";
  text += "\n|";
  for (std::size_t i = 0; i < table.columns.size(); ++i) text += "---|";
  for (const auto& row : table.rows) {
    text += "\n|";
    for (std::size_t i = 0; i < row.size(); ++i) {
      text += " " + (table.columns[i].isCode ? Code(row[i]) : Escaped(row[i])) + " |";
    }
  }
  return text + "\n";
}

}  // namespace

CDocument::CDocument(std::string titleText, std::string subtitleText)
    : title(std::move(titleText)), subtitle(std::move(subtitleText)) {}

void CDocument::Heading(std::string text) { parts.push_back({true, std::move(text), {}}); }

void CDocument::Paragraph(std::string text) { parts.push_back({false, std::move(text), {}}); }

void CDocument::Table(TDocumentTable table) { parts.push_back({false, "", std::move(table)}); }

std::string CDocument::Text() const {
  std::string text = title + ": " + subtitle + "\n";
  for (const TPart& part : parts) {
    if (part.isHeading) {
      text += "\n" + part.text + "\n";
    } else {
      text += part.text.empty() ? TableText(part.table) : "\n" + Indented(part.text, 2, kTextWidth);
    }
  }
  return text;
}

std::string CDocument::Markdown() const {
  std::string text = "# " + Escaped(title) + "\n\n" + Escaped(subtitle) + "\n";
  for (const TPart& part : parts) {
    text += "\n";
    if (part.isHeading) {
      text += "## " + Escaped(part.text) + "\n";
    } else {
      text += part.text.empty() ? TableMarkdown(part.table) : Escaped(part.text) + "\n";
    }
  }
  return text;
}

}  // namespace workbench
