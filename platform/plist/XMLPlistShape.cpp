#include <algorithm>
#include <array>
#include <vector>

#include "platform/plist/PlistShape.h"

namespace fliprugair {

namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr std::array<std::string_view, 10> valueNames{"dict", "array", "string", "key",  "integer",
                                                      "real", "true",  "false",  "data", "date"};

/// Goes from tag to tag, with the elements that are open on a stack.
class XMLShape {
 public:
  explicit XMLShape(std::string_view text) : text_(text) {}

  bool isBounded();

 private:
  struct Element {
    std::string_view name;
    std::size_t children = 0;

    std::size_t mostChildren() const {
      if (name == "plist") return 1;
      return name == "dict" || name == "array" ? PlistBounds::values : 0;
    }
  };

  bool addText(std::string_view text);
  bool skipPast(std::string_view end, std::size_t from);
  bool skipHeading(std::string_view end, std::size_t from);
  bool readTag(std::size_t tag);
  bool open(std::string_view name, bool isEmpty);
  bool close(std::string_view name);

  std::string_view text_;
  std::size_t position_ = 0;
  std::vector<Element> open_;
  bool begun_ = false;
  std::size_t values_ = 0;
  std::size_t moves_ = 0;
};

bool XMLShape::isBounded() {
  if (text_.size() > PlistBounds::bytes || text_.find('\0') != std::string_view::npos) return false;
  for (auto tag = text_.find('<'); tag != std::string_view::npos; tag = text_.find('<', position_)) {
    if (!addText(text_.substr(position_, tag - position_))) return false;
    const std::string_view rest = text_.substr(tag);
    const bool isRead = rest.starts_with("<!--")        ? skipPast("-->", tag + 4)
                        : rest.starts_with("<![CDATA[") ? skipPast("]]>", tag + 9)
                        : rest.starts_with("<?xml ")    ? tag == 0 && skipHeading("?>", tag)
                        : rest.starts_with("<!DOCTYPE") ? !begun_ && skipHeading(">", tag)
                                                        : readTag(tag);
    if (!isRead) return false;
  }
  return begun_ && open_.empty();
}

/// libplist moves what follows an entity to the entity's place.
bool XMLShape::addText(std::string_view text) {
  moves_ += text.size() * static_cast<std::size_t>(std::count(text.begin(), text.end(), '&'));
  return moves_ <= PlistBounds::moves;
}

bool XMLShape::skipPast(std::string_view end, std::size_t from) {
  const auto found = text_.find(end, from);
  position_ = found + end.size();
  return found != std::string_view::npos;
}

/// To libplist an end between quotes is none. So that both see the same end, there are no open quotes before it.
bool XMLShape::skipHeading(std::string_view end, std::size_t from) {
  if (!skipPast(end, from)) return false;
  const std::string_view heading = text_.substr(from, position_ - from);
  return heading.find('[') == std::string_view::npos && std::count(heading.begin(), heading.end(), '"') % 2 == 0;
}

bool XMLShape::readTag(std::size_t tag) {
  if (!skipPast(">", tag)) return false;
  std::string_view inside = text_.substr(tag + 1, position_ - tag - 2);
  const bool isClosing = inside.starts_with('/');
  const bool isEmpty = inside.ends_with('/');
  if (isClosing) inside.remove_prefix(1);
  if (isEmpty && !inside.empty()) inside.remove_suffix(1);
  const std::string_view name = inside.substr(0, inside.find_first_of(blanks));
  const std::string_view attributes = inside.substr(name.size());
  if (name == "plist" && !isClosing) {
    if (attributes.find('<') != std::string_view::npos || !skipHeading(">", tag)) return false;
  } else if (attributes.find_first_not_of(blanks) != std::string_view::npos) {
    return false;
  }
  return isClosing ? !isEmpty && close(name) : open(name, isEmpty);
}

bool XMLShape::open(std::string_view name, bool isEmpty) {
  if (open_.empty()) {
    if (begun_ || isEmpty || name != "plist") return false;
    begun_ = true;
  } else {
    if (std::find(valueNames.begin(), valueNames.end(), name) == valueNames.end()) return false;
    if (++open_.back().children > open_.back().mostChildren() || ++values_ > PlistBounds::values) return false;
  }
  if (!isEmpty) open_.push_back({name});
  return open_.size() <= PlistBounds::depth;
}

bool XMLShape::close(std::string_view name) {
  if (open_.empty() || open_.back().name != name) return false;
  open_.pop_back();
  return true;
}

}  // namespace

bool isBoundedXMLPlist(std::string_view text) { return XMLShape(text).isBounded(); }

}  // namespace fliprugair
