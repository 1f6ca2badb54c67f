#include "tools/controlhost/History.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/Finding.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::size_t mostSightings = 100000;
constexpr std::size_t mostNames = 10000;
constexpr std::int64_t clockTolerance = 60;
constexpr std::int64_t oldRecord = 86400;
constexpr std::int64_t longestUptime = std::int64_t{366} * 86400;

Finding finding(Severity severity, std::string code, const std::string& sentence, std::string hint) {
  Finding result{severity, std::move(code)};
  result.text = sentence + ' ' + hint;
  result.hint = std::move(hint);
  return result;
}

Value dataOf(const Value& record) { return record.dictionary()["data"]; }

bool hasTime(const Value& record) { return dataOf(record).dictionary()["usertime"].isText(); }

/// Who has more devices than that at once tries something other than findings out; any one is as good to go as another.
template <typename Map>
void keepWithinBounds(Map& map) {
  if (map.size() > mostNames) map.erase(map.begin());
}

std::size_t digestOf(const std::string& text) { return std::hash<std::string>()(text); }

std::string count(std::int64_t seconds) {
  if (seconds < 7200) return std::to_string(seconds) + " s";
  return seconds < 172800 ? std::to_string(seconds / 3600) + " hours" : std::to_string(seconds / 86400) + " days";
}

/// An advertising or vendor identifier that tells devices apart.
bool identifies(const std::string& identifier) { return identifier.find_first_not_of("0-") != std::string::npos; }

std::string nameOf(const Value& identifier) { return shortened(identifier.text(), 256); }

/// The flags of the reply to an init request; nothing when it is none, or the device got nothing that a tracker reads.
std::optional<Dictionary> givenFlags(const ReceivedRequest& request) {
  if (request.action != "init" || !request.isConfirmed()) return std::nullopt;
  const Value reply = RapidJSONSerialization().value(request.reply).value_or(Value());
  if (!reply.isDictionary()) return std::nullopt;
  return reply.dictionary()["flags"].dictionary();
}

Finding aboutChange(Severity severity, const std::string& from, const std::string& to, const std::string& how,
                    std::string hint) {
  Finding result = finding(severity, "device-changed", "The device is " + to + ", and was " + from + ' ' + how + '.',
                           std::move(hint));
  result.path = "/marlune_device_id";
  result.expected = from;
  result.got = to;
  return result;
}

void checkUptime(const Array& records, std::vector<Finding>& findings) {
  std::int64_t index = 0;
  for (const Value& record : records) {
    const std::int64_t place = index++;
    const Value sent = dataOf(record).dictionary()["uptime"];
    const std::int64_t uptime =
        std::clamp<std::int64_t>(sent.isText() ? sent.integerValue() : 0, -INT64_MAX, INT64_MAX);
    if (std::abs(uptime) <= longestUptime) continue;
    Finding result = finding(Severity::warning, "clock",
                             "/data/uptime is " + count(std::abs(uptime)) + (uptime < 0 ? " before" : " after") +
                                 " the application became active.",
                             "Send seconds, not milliseconds; or was the device's clock set meanwhile?");
    result.path = "/data/uptime";
    result.expected = "seconds since the application became active, of a year at most";
    result.got = shortened(sent.text());
    result.record = place;
    findings.push_back(std::move(result));
  }
}

void checkClock(const ReceivedRequest& request, const Array& records, std::vector<Finding>& findings) {
  std::int64_t index = 0;
  for (const Value& record : records) {
    const std::int64_t place = index++;
    if (!hasTime(record)) continue;
    const std::int64_t time = dataOf(record).dictionary()["usertime"].integerValue();
    const std::int64_t age = static_cast<std::int64_t>(std::floor(request.received)) - time;
    if (age >= -clockTolerance && age <= oldRecord) continue;
    Finding result =
        age < 0
            ? finding(Severity::warning, "clock", "/data/usertime is " + count(-age) + " ahead of this host's clock.",
                      "Set the clock of the device, or of this machine.")
            : finding(Severity::note, "clock", "/data/usertime is " + count(age) + " before its arrival.",
                      "The device was without a connection for so long, or its clock is slow.");
    result.path = "/data/usertime";
    result.expected = "about the time of its arrival";
    result.got = count(std::abs(age)) + (age < 0 ? " ahead" : " before");
    result.record = place;
    findings.push_back(std::move(result));
  }
}

}  // namespace

std::vector<Finding> History::findings(const ReceivedRequest& request, const Value& body) {
  const Array records = body.isArray() ? body.array() : Array{body};
  std::vector<Finding> findings;
  const std::lock_guard lock(mutex_);
  const bool again = checkRequest(request, body, findings);
  if (!again) checkRecords(request, records, findings);
  checkInstall(request, again, findings);
  checkDevice(request, records, findings);
  checkApplication(request, records, findings);
  checkClock(request, records, findings);
  checkUptime(records, findings);
  noteFlags(request);
  return findings;
}

void History::noteInitReply(const ReceivedRequest& request) {
  const std::lock_guard lock(mutex_);
  noteFlags(request);
}

/// Whether the same request has come before.
bool History::checkRequest(const ReceivedRequest& request, const Value& body, std::vector<Finding>& findings) {
  // These two say the same at every start and at every question.
  if (request.action == "init" || request.action == "get_attribution") return false;
  bool timed = hasTime(body);
  for (const Value& record : body.array()) timed = timed || hasTime(record);
  const std::size_t digest = digestOf("request " + RapidJSONSerialization().textOfAny(body));
  const Sighting* before = sightingOf(digest);
  const std::string place = "request " + std::to_string(request.id);
  const bool seen = before != nullptr;
  if (seen && before->confirmed && !timed) {
    findings.push_back(finding(Severity::note, "resent", "The same as " + before->place + ", which was confirmed.",
                               "Without a usertime it cannot be told whether it was reported or sent again."));
    findings.back().expected = "a request that has not been confirmed, or the same report once more";
    findings.back().got = before->place + " again";
  } else if (seen && before->confirmed) {
    findings.push_back(finding(before->late ? Severity::note : Severity::warning, "resent",
                               "The same as " + before->place + ", which was confirmed.",
                               before->late ? "The confirmation came late; the tracker may have given up waiting."
                                            : "A confirmed request is not sent again."));
    findings.back().expected = "a request that has not been confirmed";
    findings.back().got = before->place + " again";
  } else if (seen) {
    findings.push_back(finding(Severity::note, "resent", "The same as " + before->place + ", which was not confirmed.",
                               "A tracker sends it again until it is: this is right."));
    findings.back().expected = "the same request until it is confirmed";
    findings.back().got = before->place + " again";
  }
  const bool confirmed = request.isConfirmed() || (seen && before->confirmed);
  notice(digest, {place, request.device, confirmed, request.delay.count() > 0});
  return seen && timed;
}

void History::checkRecords(const ReceivedRequest& request, const Array& records, std::vector<Finding>& findings) {
  std::int64_t index = 0;
  for (const Value& record : records) {
    const std::string place = "record " + std::to_string(request.id) + '.' + std::to_string(index);
    if (hasTime(record)) {
      const std::size_t digest = digestOf("record " + RapidJSONSerialization().textOfAny(record));
      if (const Sighting* before = sightingOf(digest)) {
        Finding result =
            finding(Severity::warning, "duplicate", "The same as " + before->place + '.',
                    "Either it was reported twice within one second, or one call became two records, or it was "
                    "sent once more in another request: by hand, or from a store that was copied.");
        result.expected = "a record that has not come before";
        result.got = before->place + " again";
        result.record = index;
        findings.push_back(std::move(result));
      }
      notice(digest, {place, request.device, request.isConfirmed(), false});
    }
    ++index;
  }
}

/// `again`: the report has come before, and this is another attempt to send it.
void History::checkInstall(const ReceivedRequest& request, bool again, std::vector<Finding>& findings) {
  if (request.action != "initial") return;
  Installation& known = installations_[originOf(request.device)];
  if (!again && known.report != 0 && !known.isAskedFor) {
    Finding result =
        finding(Severity::warning, "install-twice",
                "This device's installation was reported before, in request " + std::to_string(known.report) + '.',
                "A tracker reports it once, unless the reply to \"init\" that it was given asks for it again.");
    result.path = "/action";
    result.expected = "one report of an installation";
    result.got = "another one";
    result.record = 0;
    findings.push_back(std::move(result));
  }
  if (!again) known.isAskedFor = false;
  if (known.report == 0 && request.isConfirmed()) known.report = request.id;
  keepWithinBounds(installations_);
}

void History::checkDevice(const ReceivedRequest& request, const Array& records, std::vector<Finding>& findings) {
  std::int64_t index = 0;
  const auto compare = [&](const std::string& from, const std::string& to, const std::string& how) {
    if (isSameDevice(from, to)) return;
    findings.push_back(
        aboutChange(Severity::warning, from, to, how,
                    "A device keeps its identifier unless the init reply replaces it; was the store lost?"));
    findings.back().record = index;
  };
  for (const Value& record : records) {
    const Dictionary members = record.dictionary();
    const std::string device = nameOf(members["marlune_device_id"]);
    const std::string first = nameOf(members["data_orig"].dictionary()["marlune_device_id"]);
    if (!first.empty() && !device.empty() && !isSameDevice(first, device)) {
      findings.push_back(aboutChange(Severity::note, first, device, "at its first start",
                                     "A host has replaced it; this one does not remember that."));
      findings.back().record = index;
      noteReplacement(first, device);
    }
    if (index > 0) compare(request.device, device, "in the records before");
    for (const std::string_view key : {"idfa", "idfv"}) {
      const std::string identifier = nameOf(dataOf(record).dictionary()[key]);
      if (!identifies(identifier) || device.empty()) continue;
      const auto known = identities_.try_emplace(request.app + ' ' + std::string(key) + ' ' + identifier, device).first;
      compare(known->second, device, "with the same " + std::string(key));
      known->second = device;
      keepWithinBounds(identities_);
    }
    ++index;
  }
}

void History::checkApplication(const ReceivedRequest& request, const Array& records, std::vector<Finding>& findings) {
  std::int64_t index = 0;
  for (const Value& record : records) {
    const Value sent = record.dictionary()["marlune_app_id"];
    const std::string app = nameOf(sent);
    if (sent.isText() && app != request.app && !givenApps_.contains(app)) {
      Finding result =
          finding(Severity::warning, "app-changed",
                  "The application is \"" + app + "\", and was \"" + request.app + "\" in the records before.",
                  "One store reports for one application, unless the init reply gives it another identifier; "
                  "do two applications share a store?");
      result.path = "/marlune_app_id";
      result.expected = request.app;
      result.got = app;
      result.record = index;
      findings.push_back(std::move(result));
    }
    ++index;
  }
}

/// What the device was told, for what it sends from here on. A reply takes back nothing that another one asked for.
void History::noteFlags(const ReceivedRequest& request) {
  const std::optional<Dictionary> flags = givenFlags(request);
  if (!flags) return;
  const Value resend = (*flags)["resend_initial"];
  if (resend.isNull() || resend.boolValue()) installations_[originOf(request.device)].isAskedFor = true;
  keepWithinBounds(installations_);
  const std::string device = nameOf((*flags)["marlune_device_id"]);
  if (!device.empty() && !request.device.empty()) noteReplacement(request.device, device);
  const std::string app = nameOf((*flags)["marlune_app_id"]);
  if (!app.empty()) givenApps_.insert(app);
  keepWithinBounds(givenApps_);
}

const std::string& History::originOf(const std::string& device) const {
  const auto found = origins_.find(device);
  return found == origins_.end() ? device : found->second;
}

void History::noteReplacement(const std::string& device, const std::string& replacement) {
  const std::string origin = originOf(device);
  const std::string other = originOf(replacement);
  if (origin == other) return;
  for (auto& [name, begin] : origins_) {
    if (begin == other) begin = origin;
  }
  origins_[other] = origin;
  keepWithinBounds(origins_);
  if (auto known = installations_.extract(other)) {
    known.key() = origin;
    installations_.insert(std::move(known));
  }
}

/// With the lock held, as all above.
void History::notice(std::size_t digest, Sighting sighting) {
  if (sightings_.insert_or_assign(digest, std::move(sighting)).second) order_.push_back(digest);
  while (order_.size() > mostSightings) {
    sightings_.erase(order_.front());
    order_.pop_front();
  }
}

const History::Sighting* History::sightingOf(std::size_t digest) const {
  const auto found = sightings_.find(digest);
  return found == sightings_.end() ? nullptr : &found->second;
}

void History::clear() {
  const std::lock_guard lock(mutex_);
  sightings_.clear();
  order_.clear();
  installations_.clear();
  identities_.clear();
}

void History::forget(const std::string& device) {
  const std::lock_guard lock(mutex_);
  installations_.erase(originOf(device));
  std::erase_if(sightings_, [&](const auto& entry) { return entry.second.device == device; });
  std::erase_if(order_, [&](std::size_t digest) { return !sightings_.contains(digest); });
  std::erase_if(identities_, [&](const auto& entry) { return entry.second == device; });
}

}  // namespace fliprugair::controlhost
