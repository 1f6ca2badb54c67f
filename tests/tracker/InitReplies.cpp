#include "tracker/InitReplies.h"

namespace fliprugair {

const std::vector<Value>& wrongValues() {
  static const std::vector<Value> values{
      true,
      false,
      0,
      1,
      -1,
      INT64_MAX,
      INT64_MIN,
      0.5,
      1e300,
      -1e300,
      "",
      " ",
      "x",
      "0",
      "1",
      invalidUtf8,
      megabyteOf('x'),
      Array(),
      Array({1, "x", Value(), Array(), 1e300}),
      Dictionary(),
      Value{{"a", Array({1})}, {"", Value()}},
  };
  return values;
}

std::vector<Value> wrongValues(bool (*isWrong)(const Value&)) {
  std::vector<Value> values;
  for (const Value& value : wrongValues()) {
    if (isWrong(value)) values.push_back(value);
  }
  return values;
}

Setting reported() {
  Setting setting;
  setting.stored = reportedInstall();
  return setting;
}

Snapshot afterReply(const Setting& setting, const Value& body) {
  Phone phone;
  const auto entries = setting.stored.dictionary().entries();
  for (const Dictionary::Entry& entry : entries) phone.store(entry.key(), entry.value);
  if (setting.isOdd) phone.sendsOddities();
  const auto tracker = phone.construct(setting.options);
  phone.reply(1, body);
  return snapshotOf(phone);
}

Value withFlag(std::string_view name, const Value& value, const Value& body) {
  return with(body, "flags", with(body.dictionary()["flags"], name, value));
}

const Array& oddItems() {
  static const Array items{
      1, Value(), true, 1e300, "", invalidUtf8, megabyteOf('x'), Array({"idfa", "idfv", "location"}), Dictionary()};
  return items;
}

const std::vector<NumericCase>& numbers() {
  static const std::vector<NumericCase> cases{
      {true, 1},
      {false, 0},
      {0, 0},
      {5, 5},
      {59, 59},
      {60, 60},
      {90, 90},
      {604800, 604800},
      {604801, 604801},
      {-5, -5},
      {INT64_MAX, INT64_MAX},
      {INT64_MIN, INT64_MIN},
      {90.9, 90},
      {-0.9, 0},
      {1e300, INT64_MAX},
      {-1e300, INT64_MIN},
      {9223372036854775807.0, INT64_MAX},
      {"90", 90},
      {" +90x", 90},
      {"90.9", 90},
      {"9e5", 9},
      {"", 0},
      {" ", 0},
      {"abc", 0},
      {"-90", -90},
      {"--90", 0},
      {"2147483648", INT32_MAX},
      {"99999999999999999999", INT32_MAX},
      {"-99999999999999999999", INT32_MIN},
      {megabyteOf('9'), INT32_MAX},
      {megabyteOf('x'), 0},
      {"\xFF"
       "90",
       0},
      {Array(), 0},
      {Array({90}), 0},
      {Dictionary(), 0},
      {Value{{"90", 90}}, 0},
  };
  return cases;
}

const std::vector<BooleanCase>& booleans() {
  static const std::vector<BooleanCase> cases{
      {true, true},
      {false, false},
      {0, false},
      {1, true},
      {-1, true},
      {INT64_MIN, true},
      {0.0, false},
      {0.1, true},
      {1e300, true},
      {-1e300, true},
      {"", false},
      {"0", false},
      {"1", true},
      {"yes", true},
      {"true", true},
      {"no", false},
      {" +007", true},
      {megabyteOf('x'), false},
      {megabyteOf('0') + "1", true},
      {"\xFF", false},
      {Array(), false},
      {Array({1}), false},
      {Dictionary(), false},
      {Value{{"1", 1}}, false},
  };
  return cases;
}

}  // namespace fliprugair
