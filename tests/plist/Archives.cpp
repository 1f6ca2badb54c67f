#include "plist/Archives.h"

namespace fliprugair::test {

namespace {

using Writer = void (*)(plist_t, char**, std::uint32_t*);

std::string written(plist_t plist, Writer write) {
  char* bytes = nullptr;
  std::uint32_t length = 0;
  write(plist, &bytes, &length);
  const std::unique_ptr<char, decltype(&std::free)> owner(bytes, &std::free);
  return bytes ? std::string(bytes, length) : std::string();
}

}  // namespace

Tree Tree::references(const std::vector<std::uint64_t>& objects) {
  Tree result = array();
  for (const auto object : objects) result = std::move(result).with(reference(object));
  return result;
}

Tree Tree::with(Tree item) && {
  plist_array_append_item(node_.get(), item.node_.release());
  return std::move(*this);
}

Tree Tree::with(const std::string& key, Tree value) && {
  plist_dict_set_item(node_.get(), key.c_str(), value.node_.release());
  return std::move(*this);
}

Tree Tree::without(const std::string& key) && {
  plist_dict_remove_item(node_.get(), key.c_str());
  return std::move(*this);
}

std::string Tree::binary() const { return written(node_.get(), plist_to_bin); }

std::string Tree::xml() const { return written(node_.get(), plist_to_xml); }

Archive::Archive() : objects_(Tree::array()) { add(Tree::text("$null")); }

std::uint64_t Archive::add(Tree object) {
  objects_ = std::move(objects_).with(std::move(object));
  return size_++;
}

std::uint64_t Archive::addClass(const std::vector<std::string>& names) {
  Tree ancestors = Tree::array();
  for (const auto& name : names) ancestors = std::move(ancestors).with(Tree::text(name));
  return add(Tree::dictionary().with("$classname", Tree::text(names.front())).with("$classes", std::move(ancestors)));
}

std::uint64_t Archive::addCollection(std::uint64_t classIndex, const std::vector<std::uint64_t>& objects) {
  return add(
      Tree::dictionary().with("$class", Tree::reference(classIndex)).with("NS.objects", Tree::references(objects)));
}

Tree Archive::finish(std::uint64_t root) {
  return Tree::dictionary()
      .with("$archiver", Tree::text("NSKeyedArchiver"))
      .with("$version", Tree::number(100000))
      .with("$top", Tree::dictionary().with("root", Tree::reference(root)))
      .with("$objects", std::move(objects_));
}

Tree personArchive() {
  Archive archive;
  const auto person = archive.addClass({"Person", "NSObject"});
  const auto list = archive.addClass({"NSMutableArray", "NSArray", "NSObject"});
  const auto dictionary = archive.addClass({"NSDictionary", "NSObject"});
  const auto moment = archive.addClass({"NSDate", "NSObject"});
  const auto name = archive.add(Tree::text("M\xc3\xa4rta"));
  const auto age = archive.add(Tree::number(41));
  const auto date =
      archive.add(Tree::dictionary().with("$class", Tree::reference(moment)).with("NS.time", Tree::real(478000000.5)));
  const auto members = archive.addCollection(list, {name, age, date, 0});
  const auto facts = archive.add(Tree::dictionary()
                                     .with("$class", Tree::reference(dictionary))
                                     .with("NS.keys", Tree::references({name}))
                                     .with("NS.objects", Tree::references({members})));
  const auto portrait = archive.add(Tree::data(std::string("\x89PNG\0\r\n", 7)));
  const auto root = archive.add(Tree::dictionary()
                                    .with("$class", Tree::reference(person))
                                    .with("name", Tree::reference(name))
                                    .with("age", Tree::number(41))
                                    .with("isMember", Tree::truth(true))
                                    .with("since", Tree::date(5000))
                                    .with("portrait", Tree::reference(portrait))
                                    .with("partner", Tree::reference(0))
                                    .with("facts", Tree::reference(facts)));
  return archive.finish(root);
}

Tree textArchive() {
  Archive archive;
  const auto root = archive.add(Tree::text("a text"));
  return archive.finish(root);
}

std::string bigEndian(std::uint64_t number, std::size_t size) {
  std::string bytes;
  for (std::size_t place = size; place-- > 0;) bytes += static_cast<char>(place < 8 ? number >> (8 * place) : 0);
  return bytes;
}

std::string RawPlist::bytes() const {
  std::string result = "bplist00";
  std::string offsets;
  for (const auto& object : objects) {
    offsets += bigEndian(result.size(), offsetSize);
    result += object;
  }
  const auto table = result.size();
  return result + offsets + std::string(6, '\0') + static_cast<char>(offsetSize) + static_cast<char>(referenceSize) +
         bigEndian(objects.size(), 8) + bigEndian(root, 8) + bigEndian(table, 8);
}

}  // namespace fliprugair::test
