// `loopbox describe`: the reference of a class, from what the plug-in answers
// and from the class's reference file.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/document.h"
#include "workbench/exit_status.h"
#include "workbench/faults.h"
#include "workbench/plugin_folder.h"
#include "workbench/references.h"
#include "workbench/text.h"

namespace workbench {
namespace {

// What the reference tells of a name, and no longer has to tell.
std::string Taken(std::vector<TMeaning>* meanings, const std::string& name) {
  const auto found =
      std::find_if(meanings->begin(), meanings->end(), [&](const TMeaning& meaning) { return meaning.name == name; });
  if (found == meanings->end()) return {};
  std::string text = found->text;
  meanings->erase(found);
  return text;
}

void AddNamed(const char* heading, const std::vector<runtime::TNamed>& items, std::vector<TMeaning> meanings,
              CDocument* document) {
  document->Heading(runtime::Translated(heading));
  TDocumentTable table = {{{"name", true}, {"declared as", true}, {"meaning", false}}, 2, {}};
  for (const auto& item : items)
    table.rows.push_back({item.name, item.description, runtime::Translated(Taken(&meanings, item.name))});
  for (const TMeaning& rest : meanings)
    table.rows.push_back({rest.name, runtime::Translated("not listed"), runtime::Translated(rest.text)});
  document->Table(std::move(table));
}

void AddKeywords(const CReference& reference, CDocument* document) {
  TDocumentTable table;
  const auto& keywords = reference.Keywords();
  for (auto keyword = keywords.begin(); keyword != keywords.end(); ++keyword) {
    if (keyword == keywords.begin() || keyword->section != (keyword - 1)->section) {
      document->Heading(runtime::Translated("Keywords") + ": " + keyword->section);
      table = {{{"keyword", true},
                {"type", false},
                {"default", true},
                {"range", false},
                {"meaning", false},
                {"example", true}},
               3,
               {}};
    }
    table.rows.push_back({keyword->keyword, runtime::Translated(keyword->type),
                          runtime::Translated(keyword->defaultValue), runtime::Translated(keyword->range),
                          runtime::Translated(keyword->meaning), keyword->example});
    if (keyword + 1 == keywords.end() || (keyword + 1)->section != keyword->section) document->Table(table);
  }
}

void AddReference(const CReference& reference, CDocument* document) {
  AddKeywords(reference, document);
  document->Heading(runtime::Translated("What check has to say"));
  TDocumentTable notes = {{{"kind", false}, {"text", false}}, 2, {}};
  for (const TNote& note : reference.Notes())
    notes.rows.push_back({runtime::Translated(note.warning ? "warning" : "note"), runtime::Translated(note.text)});
  document->Table(std::move(notes));
  if (reference.State().empty()) return;
  document->Heading(runtime::Translated("Further columns of a trace, with --trace-state"));
  TDocumentTable columns = {{{"column", true}, {"from", true}}, 2, {}};
  for (const auto& column : reference.State()) columns.rows.push_back({"NAME." + column.name, column.procedure});
  document->Table(std::move(columns));
}

CDocument Described(const runtime::TClass& described, const runtime::TClassDescription& description,
                    const CReference* reference) {
  CDocument document(described.name, described.description);
  if (reference != nullptr) {
    for (const std::string& remark : reference->Remarks()) document.Paragraph(runtime::Translated(remark));
  }
  const std::vector<TMeaning> none;
  AddNamed("Events", description.events, reference != nullptr ? reference->Events() : none, &document);
  AddNamed("Procedures", description.procedures, reference != nullptr ? reference->Procedures() : none, &document);
  document.Heading(runtime::Translated("Colours and their defaults"));
  TDocumentTable colors = {{{"keyword", true}, {"default", true}, {"description", false}}, 3, {}};
  for (const auto& color : description.colors)
    colors.rows.push_back({color.keyword, ColorText(color.defaultColor), color.description});
  document.Table(std::move(colors));
  if (reference != nullptr) AddReference(*reference, &document);
  return document;
}

constexpr char kMarkdown[] = "markdown";

struct TDescribeOptions {
  std::string className;
  std::string format = "text";
};

int DescribeClass(const std::string& className, const std::string& pluginPath, bool asMarkdown) {
  const CCrashNotice notice(PluginPath(pluginPath) + ": the plug-in crashed while it described " + className);
  std::string error;
  const auto plugin = LoadPlugin(pluginPath, &error);
  if (!plugin) return Fail(error);
  const auto& classes = plugin->Classes();
  const auto found =
      std::find_if(classes.begin(), classes.end(), [&](const auto& item) { return item.name == className; });
  if (found == classes.end()) {
    error = "the plug-in has no class \"" + className + "\"; its classes are";
    for (const auto& item : classes) error += " " + item.name;
    return Fail(error);
  }
  runtime::TClassDescription description;
  TReferences references;
  if (!plugin->Describe(className, &description, &error) || !LoadReferences(*plugin, &references, &error)) {
    return Fail(error);
  }
  const CReference* const reference = ReferenceOf(references, className);
  const CDocument document = Described(*found, description, reference);
  Print(asMarkdown ? document.Markdown() : document.Text());
  if (reference == nullptr) PrintError("no reference of the keywords of " + className + " stands beside the plug-in");
  return kDone;
}

}  // namespace

TCommand DescribeCommand(TCommonOptions& common) {
  const auto options = std::make_shared<TDescribeOptions>();
  return {
      "describe",
      "Say what a class offers, and its keywords",
      {{.name = "CLASS", .value = "", .target = &options->className, .help = "The class", .isRequired = true},
       {"--format", "text|markdown", &options->format, "As what it is printed (default: text)",
        OneOf({"text", kMarkdown})},
       PluginOption(common),
       LanguageOption(common)},
      [options, &common] { return DescribeClass(options->className, common.plugin, options->format == kMarkdown); }};
}

}  // namespace workbench
