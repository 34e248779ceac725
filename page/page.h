// What the program's pages share: their shell, their theme, the plotting
// library, and a policy by which a page runs and shows nothing but what it
// embeds, sends nothing, and makes no markup of text.
//
//   page::TPage shown;
//   shown.title = "Furnace";
//   shown.body = "<h1>" + page::Escaped(name) + "</h1>";
//   shown.data = page::ScriptText(json);
//   shown.scripts = page::PlottingScripts();
//   const std::string html = page::Document(shown);
#ifndef LOOPBOX_PAGE_PAGE_H
#define LOOPBOX_PAGE_PAGE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace page {

// Whatever comes from outside goes into a page through one of these two: as
// text, or the value of an attribute in quotes, in HTML; as the text of a JSON
// in an element `script`, in which no "<" stands.
std::string Escaped(std::string_view text);
std::string ScriptText(std::string_view json);

// A colour word, 0x00BBGGRR, as "#rrggbb".
std::string Color(std::uint32_t word);
// The address of an image that the page embeds: "data:image/svg+xml;base64,…".
std::string ImageAddress(std::string_view mediaType, std::string_view bytes);

// Of UTF-8. What `styles` and `scripts` hold is the program's own, and has no
// end tag.
struct TPage {
  std::string title;                      // text
  std::string language = "en";            // of its texts, as HTML names it
  std::vector<std::string_view> styles;   // after the theme
  std::string body;                       // HTML without attributes `style` and `on…`, which the policy forbids
  std::string data;                       // ScriptText: the element #data
  std::vector<std::string_view> scripts;  // run one after the other, at the end of the body
};

// The page as a file that needs nothing else.
std::string Document(const TPage& page);

// dygraphs, the plotting library, as page/plots.js fits it to the policy and to
// our plots; and what its licence asks to be kept. The theme has its style.
std::vector<std::string_view> PlottingScripts();
std::string_view PlottingLicence();

}  // namespace page

#endif
