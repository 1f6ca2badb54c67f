#include "tools/sim/DeviceFields.h"

#include <algorithm>
#include <array>
#include <limits>

#include "tools/sim/Nearest.h"

namespace fliprugair::sim {

namespace {

using Setter = void (*)(VirtualFacts&, const Members&);

constexpr std::int64_t lowestCode = std::numeric_limits<int>::min();
constexpr std::int64_t highestCode = std::numeric_limits<int>::max();

std::string bytes(const Members& members, std::string_view name) {
  const auto decoded = bytesOfBase64(members.text(name));
  if (!decoded) members.fail(name, "base64 text");
  return *decoded;
}

void setScreen(VirtualFacts& facts, const Members& members) {
  facts.screen.reset();
  const Value given = members.objectOrNull("screen");
  if (given.isNull()) return;
  const Members screen("\"screen\"", given);
  screen.allowOnly({"width", "height", "brightness"});
  const auto number = [&](std::string_view name) { return screen.has(name) ? screen.number(name) : 0.0; };
  facts.screen = Screen{number("width"), number("height"), number("brightness")};
}

void setBundle(VirtualFacts& facts, const Members& members) {
  facts.bundle.clear();
  const Members bundle("\"bundle\"", members.object("bundle"));
  bundle.allowOnly({"CFBundleIdentifier", "CFBundleShortVersionString", "CFBundleVersion"});
  for (const Dictionary::Entry& entry : bundle.all().entries()) {
    if (const auto text = bundle.textOrNull(entry.key())) facts.bundle[entry.key()] = *text;
  }
}

void setPasteboards(VirtualFacts& facts, const Members& members) {
  facts.pasteboards.clear();
  const Members pasteboards("\"pasteboards\"", members.object("pasteboards"));
  for (const Dictionary::Entry& entry : pasteboards.all().entries()) {
    facts.pasteboards[entry.key()] = Text(pasteboards.textOrNull(entry.key())).value();
  }
}

void setReachability(VirtualFacts& facts, const Members& members) {
  const Value given = members.any("reachability");
  if (given.isNull()) {
    facts.reachability = {};
  } else if (given == Value("unreadable")) {
    facts.reachability = {true, false, 0};
  } else {
    if (given.isText()) members.fail("reachability", "the flags, null or \"unreadable\"");
    const std::int64_t flags = members.integer("reachability", 0, std::numeric_limits<std::uint32_t>::max());
    facts.reachability = {true, true, static_cast<std::uint32_t>(flags)};
  }
}

void setDocuments(VirtualFacts& facts, const Members& members) {
  const Members documents("\"documents\"", members.object("documents"));
  for (const Dictionary::Entry& entry : documents.all().entries()) {
    if (entry.value.isNull()) {
      facts.documents.erase(entry.key());
    } else {
      facts.documents[entry.key()] = bytes(documents, entry.key());
    }
  }
}

void setReceipt(VirtualFacts& facts, const Members& members) {
  facts.receipt.reset();
  if (!members.any("receipt").isNull()) facts.receipt = bytes(members, "receipt");
}

struct Field {
  std::string_view name;
  Setter set;
};

constexpr std::array fields{
    Field{"system_name", [](VirtualFacts& facts, const Members& m) { facts.systemName = m.text("system_name"); }},
    Field{"system_version",
          [](VirtualFacts& facts, const Members& m) { facts.systemVersion = m.text("system_version"); }},
    Field{"foundation_version",
          [](VirtualFacts& facts, const Members& m) { facts.foundationVersion = m.number("foundation_version"); }},
    Field{"hardware", [](VirtualFacts& facts, const Members& m) { facts.hardware = m.textOrNull("hardware"); }},
    Field{"languages", [](VirtualFacts& facts, const Members& m) { facts.languages = m.texts("languages"); }},
    Field{"idfv", [](VirtualFacts& facts, const Members& m) { facts.idfv = m.textOrNull("idfv"); }},
    Field{"idfa", [](VirtualFacts& facts, const Members& m) { facts.idfa = m.textOrNull("idfa"); }},
    Field{"ad_tracking_enabled",
          [](VirtualFacts& facts, const Members& m) { facts.adTrackingEnabled = m.boolean("ad_tracking_enabled"); }},
    Field{"screen", setScreen},
    Field{"orientation",
          [](VirtualFacts& facts, const Members& m) {
            facts.orientation = static_cast<int>(m.integer("orientation", lowestCode, highestCode));
          }},
    Field{"bundle", setBundle},
    Field{"receipt", setReceipt},
    Field{"pasteboards", setPasteboards},
    Field{"user_agent", [](VirtualFacts& facts, const Members& m) { facts.userAgent = m.textOrNull("user_agent"); }},
    Field{"reachability", setReachability},
    Field{"location_services",
          [](VirtualFacts& facts, const Members& m) { facts.locationServices = m.boolean("location_services"); }},
    Field{"location_status",
          [](VirtualFacts& facts, const Members& m) {
            facts.locationStatus = static_cast<int>(m.integer("location_status", lowestCode, highestCode));
          }},
    Field{"documents", setDocuments},
};

}  // namespace

void setDeviceFields(VirtualFacts& facts, const Members& members) {
  VirtualFacts changed = facts;
  for (const Dictionary::Entry& entry : members.all().entries()) {
    if (entry.key() == "do") continue;
    const auto field = std::ranges::find(fields, entry.key(), &Field::name);
    if (field == fields.end()) {
      std::string known;
      std::vector<std::string_view> names;
      for (const Field& one : fields) {
        known += (known.empty() ? "" : ", ") + std::string(one.name);
        names.push_back(one.name);
      }
      throw CommandError("a device has no field " + shown(entry.key()) + suggestion(entry.key(), names) + "; it has " +
                         known);
    }
    field->set(changed, members);
  }
  facts = std::move(changed);
}

}  // namespace fliprugair::sim
