// What the tracker's library is made of: the standard library, the collaborators' and the platform's interfaces, and no
// variable that outlives a process's environment.

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>

namespace {

namespace fs = std::filesystem;

const fs::path sources = FLIPRUGAIR_SOURCES;

/// The headers that C++20 has; of those of C only the one that the interface for C needs.
const std::set<std::string>& standardHeaders() {
  static const std::set<std::string> headers{
      "algorithm",
      "any",
      "array",
      "atomic",
      "barrier",
      "bit",
      "bitset",
      "cassert",
      "cctype",
      "cerrno",
      "cfloat",
      "charconv",
      "chrono",
      "cinttypes",
      "climits",
      "cmath",
      "compare",
      "complex",
      "concepts",
      "condition_variable",
      "cstddef",
      "cstdint",
      "cstdlib",
      "cstring",
      "deque",
      "exception",
      "filesystem",
      "forward_list",
      "functional",
      "future",
      "initializer_list",
      "iomanip",
      "ios",
      "iosfwd",
      "iterator",
      "latch",
      "limits",
      "list",
      "locale",
      "map",
      "memory",
      "memory_resource",
      "mutex",
      "new",
      "numbers",
      "numeric",
      "optional",
      "queue",
      "random",
      "ranges",
      "ratio",
      "regex",
      "semaphore",
      "set",
      "shared_mutex",
      "span",
      "sstream",
      "stack",
      "stddef.h",
      "stdexcept",
      "string",
      "string_view",
      "system_error",
      "thread",
      "tuple",
      "type_traits",
      "typeindex",
      "typeinfo",
      "unordered_map",
      "unordered_set",
      "utility",
      "valarray",
      "variant",
      "vector",
      "version",
  };
  return headers;
}

std::vector<fs::path> filesBelow(const std::string& folder, bool recursive) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(sources / folder)) {
    if (!entry.is_regular_file()) continue;
    if (!recursive && entry.path().parent_path() != sources / folder) continue;
    files.push_back(entry.path());
  }
  return files;
}

struct Include {
  std::string file;
  std::string header;
  bool inBrackets;
};

std::vector<Include> includesOf(const std::vector<fs::path>& files) {
  static const std::regex pattern(R"re(^\s*#\s*include\s*([<"])([^>"]+)[>"])re");
  std::vector<Include> includes;
  for (const fs::path& file : files) {
    std::ifstream stream(file);
    EXPECT_TRUE(stream) << file;
    for (std::string line; std::getline(stream, line);) {
      std::smatch match;
      if (std::regex_search(line, match, pattern)) {
        includes.push_back({fs::relative(file, sources).string(), match[2], match[1] == "<"});
      }
    }
  }
  return includes;
}

template <class Folders>
bool beginsWithOneOf(const std::string& header, const Folders& folders) {
  return std::ranges::any_of(folders, [&](std::string_view folder) { return header.starts_with(folder); });
}

constexpr std::array<std::string_view, 9> platformPieces{
    "platform/linux/",          "platform/virtual/", "platform/json/",  "platform/sqlite/",
    "platform/curl/",           "platform/gpsd/",    "platform/plist/", "Fliprugair/platform/linux",
    "Fliprugair/platform/curl",
};

TEST(TheLibrary, IncludesTheStandardLibraryCollaboratorsAndPlatformAlone) {
  auto files = filesBelow("Fliprugair", true);
  for (const fs::path& file : filesBelow("include/Fliprugair", false)) files.push_back(file);
  const auto includes = includesOf(files);
  ASSERT_GT(includes.size(), 50U);
  for (const auto& [file, header, inBrackets] : includes) {
    if (inBrackets) {
      EXPECT_TRUE(standardHeaders().contains(header)) << file << " includes <" << header << ">";
    } else {
      EXPECT_TRUE(beginsWithOneOf(header, std::array{"Fliprugair/", "platform/"})) << file << ": " << header;
      EXPECT_FALSE(beginsWithOneOf(header, platformPieces)) << file << ": " << header;
    }
  }
}

TEST(TheLibrary, InterfacesBelowTheTrackerDoNotIncludeIt) {
  auto files = filesBelow("platform", false);
  for (const auto* folder : {"include/Fliprugair/platform", "include/Fliprugair/collaborators"}) {
    for (const fs::path& file : filesBelow(folder, false)) files.push_back(file);
  }
  const auto includes = includesOf(files);
  ASSERT_GT(includes.size(), 30U);
  for (const auto& [file, header, inBrackets] : includes) {
    if (inBrackets) {
      EXPECT_TRUE(standardHeaders().contains(header)) << file << " includes <" << header << ">";
    } else {
      EXPECT_TRUE(beginsWithOneOf(header, std::array{"Fliprugair/collaborators/", "Fliprugair/platform/", "platform/"}))
          << file << ": " << header;
      EXPECT_FALSE(beginsWithOneOf(header, platformPieces)) << file << ": " << header;
    }
  }
}

TEST(TheLibrary, PlatformsDoNotIncludeTheInsideOfTheTracker) {
  const auto includes = includesOf(filesBelow("platform", true));
  ASSERT_GT(includes.size(), 300U);
  for (const auto& [file, header, inBrackets] : includes) {
    if (inBrackets || !header.starts_with("Fliprugair/")) continue;
    EXPECT_TRUE(fs::exists(sources / "include" / header)) << file << ": " << header;
  }
}

TEST(TheLibrary, PortablePiecesStandOnNoPlatformAndOnNoOtherPieceButJSON) {
  for (const std::string piece : {"sqlite", "curl", "gpsd", "plist", "json"}) {
    const std::array<std::string, 5> below{"platform/" + piece + '/', "platform/json/", "platform/posix/",
                                           "Fliprugair/collaborators/", "Fliprugair/platform/"};
    const auto includes = includesOf(filesBelow("platform/" + piece, true));
    ASSERT_GT(includes.size(), 5U) << piece;
    for (const auto& [file, header, inBrackets] : includes) {
      if (inBrackets) continue;
      const bool isBase = fs::path(header).parent_path() == "platform";
      EXPECT_TRUE(isBase || beginsWithOneOf(header, below)) << file << ": " << header;
      EXPECT_FALSE(header.starts_with("Fliprugair/platform/linux/")) << file << ": " << header;
    }
  }
}

/// Fails unless the headers below `roots.front()` include nothing but the standard library and what stands in `roots`.
void expectClosed(const std::vector<fs::path>& roots, std::size_t least) {
  const auto headers = filesBelow(roots.front(), true);
  ASSERT_GT(headers.size(), least);
  for (const auto& [file, header, inBrackets] : includesOf(headers)) {
    const auto has = [&name = header](const fs::path& root) { return fs::exists(sources / root / name); };
    if (inBrackets) {
      EXPECT_TRUE(standardHeaders().contains(header)) << file << " includes <" << header << ">";
    } else {
      EXPECT_TRUE(std::ranges::any_of(roots, has)) << file << ": " << header;
    }
  }
}

TEST(TheLibrary, PublicHeadersIncludeTheStandardLibraryAndPublicHeadersAlone) { expectClosed({"include"}, 20); }

TEST(TheLibrary, HeadersOfTheControlHostForTestsReachNothingWithinIt) {
  expectClosed({"tools/controlhost/include", "include"}, 5);
}

/// Adds `header` of include/, what it includes, and so on.
void addReached(const std::string& header, std::set<std::string>& reached) {
  if (!reached.insert(header).second || !fs::exists(sources / "include" / header)) return;
  for (const Include& include : includesOf({sources / "include" / header})) addReached(include.header, reached);
}

TEST(TheLibrary, PublicHeaderReachesNoThreadsAndNoPlatform) {
  std::set<std::string> reached;
  addReached("Fliprugair/MarluneTracker.h", reached);
  ASSERT_TRUE(reached.contains("Fliprugair/platform/Value.h"));
  for (const auto* header : {"mutex", "thread", "atomic", "condition_variable", "Fliprugair/platform/Platform.h",
                             "Fliprugair/collaborators/Environment.h"}) {
    EXPECT_FALSE(reached.contains(header)) << header;
  }
}

#ifndef FLIPRUGAIR_SANITIZED  // sanitizers put variables of their own into every object

std::string outputOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  EXPECT_NE(pipe, nullptr) << command;
  std::string output;
  std::array<char, 4096> buffer;
  while (pipe != nullptr) {
    const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe.get());
    if (count == 0) break;
    output.append(buffer.data(), count);
  }
  return output;
}

std::string textOf(const std::vector<fs::path>& files) {
  std::ostringstream text;
  for (const fs::path& file : files) text << std::ifstream(file).rdbuf();
  return text.str();
}

/// Whether the sources declare what `symbol` names as a constant: tables with addresses in them stand among the
/// variables until they are linked.
bool isConstant(const std::string& text, const std::string& symbol) {
  const std::string name = symbol.substr(symbol.rfind(':') + 1);
  return std::regex_search(text, std::regex("constexpr[^;={}]*\\b" + name + "\\b"));
}

/// A line of the symbol table names address, seven flags, section, size and name.
TEST(TheLibrary, HasNoVariablesThatOutliveAnEnvironment) {
  const std::string table = outputOf("objdump -t -C '" + std::string(FLIPRUGAIR_ARCHIVE) + "'");
  ASSERT_NE(table.find("fliprugair::MarluneTracker::trackEvent"), std::string::npos)
      << "no symbol table: " << FLIPRUGAIR_ARCHIVE;
  auto files = filesBelow("Fliprugair", true);
  for (const fs::path& file : filesBelow("platform", false)) files.push_back(file);
  const std::string text = textOf(files);
  const std::regex symbol(R"(^[0-9a-f]+ (.{7}) (\.(?:data|bss|tdata|tbss)\S*)\s+[0-9a-f]+\s+(?:\.hidden )?(.*)$)");
  int variables = 0;
  std::istringstream lines(table);
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    if (!std::regex_match(line, match, symbol)) continue;
    const std::string section = match[2];
    const std::string name = match[3];
    ++variables;
    if (section.starts_with(".data.rel.ro")) continue;  // tables of virtual functions, and the like
    if (name == section || name.starts_with("DW.ref.")) continue;
    // The text of what is no text: constant, and made at its first use.
    if (name.find("fliprugair::Value::text[abi:cxx11]() const &::none") != std::string::npos) continue;
    if (section.starts_with(".data.rel.") && isConstant(text, name)) continue;
    ADD_FAILURE() << "a variable in " << section << ": " << name;
  }
  EXPECT_GT(variables, 0);
}

#endif

}  // namespace
