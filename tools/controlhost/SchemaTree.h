#pragma once

#include <map>
#include <string>
#include <vector>

#include "Fliprugair/platform/Value.h"
#include "tools/controlhost/Finding.h"

namespace fliprugair::controlhost {

/// The schemas of the wire protocol as documents: says in words what they ask for at a place.
class SchemaTree {
 public:
  SchemaTree();

  /// nullptr: there is no schema of that name ("event", "envelope").
  const Value* schema(const std::string& name) const;

  /// What is wrong with `value` itself, not with what it holds: `value` stands at `path` within a record of `action`,
  /// and does not satisfy the schema there.
  std::vector<Finding> findingsAt(const std::string& action, const std::vector<std::string>& path,
                                  const Value& value) const;

 private:
  void collect(const Value& node, std::vector<Value>& nodes) const;
  std::vector<Value> nodesAt(const std::string& action, const std::vector<std::string>& path) const;
  Value resolved(const std::string& reference) const;
  std::string expectedAt(const std::string& action, const std::vector<std::string>& path) const;

  std::map<std::string, Value> schemas_;
};

/// "/data/uptime" for {"data", "uptime"}. Names of more than 200 bytes are shortened.
std::string jsonPointer(const std::vector<std::string>& path);

}  // namespace fliprugair::controlhost
