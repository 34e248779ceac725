#include "page/page.h"

#include <cstdio>

#include "hash/hash.h"
#include "page/assets.h"

namespace page {
namespace {

// What a policy allows: the elements whose content is one of these, to the byte.
std::string Sources(const std::vector<std::string_view>& contents) {
  std::string sources;
  for (const std::string_view content : contents) {
    sources += " 'sha256-" + hash::Base64(hash::Sha256(content)) + "'";
  }
  return sources;
}

void AppendElements(std::string_view name, const std::vector<std::string_view>& contents, std::string* html) {
  for (const std::string_view content : contents) {
    html->append("<").append(name).append(">").append(content).append("</").append(name).append(">\n");
  }
}

}  // namespace

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string ScriptText(std::string_view json) {
  std::string text;
  // Outside a string JSON has no "<".
  for (const char c : json) {
    if (c == '<') {
      text += "\\u003c";
    } else {
      text += c;
    }
  }
  return text;
}

std::string Color(std::uint32_t word) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02x%02x%02x", word & 0xFF, (word >> 8) & 0xFF, (word >> 16) & 0xFF);
  return text;
}

std::string ImageAddress(std::string_view mediaType, std::string_view bytes) {
  return "data:" + std::string(mediaType) + ";base64," + hash::Base64(bytes);
}

std::string Document(const TPage& page) {
  std::vector<std::string_view> styles = SharedStyles();
  styles.insert(styles.end(), page.styles.begin(), page.styles.end());
  std::string html =
      "<!DOCTYPE html>\n<html lang=\"" + page.language +
      "\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; script-src" +
      Sources(page.scripts) + "; style-src" + Sources(styles) +
      "; img-src data:; form-action 'none'; base-uri 'none'; require-trusted-types-for 'script'; trusted-types "
      "'none'\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
      Escaped(page.title) + "</title>\n";
  AppendElements("style", styles, &html);
  html.append("</head>\n<body>\n").append(page.body);
  html.append("<script type=\"application/json\" id=\"data\">").append(page.data).append("</script>\n");
  AppendElements("script", page.scripts, &html);
  return html.append("</body>\n</html>\n");
}

}  // namespace page
