#include "tools/controlhost/EmbeddedFiles.h"

#include <utility>

namespace fliprugair::controlhost {

std::string_view contentTypeOf(std::string_view name) {
  constexpr std::pair<std::string_view, std::string_view> types[] = {
      {".html", "text/html; charset=utf-8"},
      {".css", "text/css; charset=utf-8"},
      {".js", "text/javascript; charset=utf-8"},
      {".mjs", "text/javascript; charset=utf-8"},
      {".json", "application/json; charset=utf-8"},
      {".svg", "image/svg+xml"},
      {".png", "image/png"},
      {".ico", "image/x-icon"},
      {".woff2", "font/woff2"},
      {".txt", "text/plain; charset=utf-8"},
      {".webmanifest", "application/manifest+json"},
  };
  for (const auto& [ending, type] : types) {
    if (name.ends_with(ending)) return type;
  }
  return "application/octet-stream";
}

}  // namespace fliprugair::controlhost
