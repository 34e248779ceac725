// Headings, paragraphs and tables, for the terminal or as Markdown.
#ifndef LOOPBOX_WORKBENCH_DOCUMENT_H
#define LOOPBOX_WORKBENCH_DOCUMENT_H

#include <cstddef>
#include <string>
#include <vector>

namespace workbench {

struct TDocumentTable {
  struct TColumn {
    std::string name;
    bool isCode;  // what is written in an application
  };

  std::vector<TColumn> columns;
  // In a terminal so many columns stand under each other; the others follow, each
  // on lines of its own.
  std::size_t aligned;
  std::vector<std::vector<std::string>> rows;
};

class CDocument {
 public:
  CDocument(std::string title, std::string subtitle);
  void Heading(std::string text);
  void Paragraph(std::string text);
  void Table(TDocumentTable table);

  std::string Text() const;
  std::string Markdown() const;

 private:
  struct TPart {
    bool isHeading;
    std::string text;
    TDocumentTable table;  // when there is no text
  };

  std::string title;
  std::string subtitle;
  std::vector<TPart> parts;
};

}  // namespace workbench

#endif
