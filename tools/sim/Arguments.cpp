#include "tools/sim/Arguments.h"

#include <cmath>
#include <limits>
#include <stdexcept>

namespace fliprugair::sim {

namespace {

/// The event-standard-parameters object of a script.
class ScriptedStandard final : public EventStandardParameters {
 public:
  ScriptedStandard(Text name, Value data, std::optional<std::string> raises)
      : name_(std::move(name)), data_(std::move(data)), raises_(std::move(raises)) {}

  Text serverEventNameString() const override { return name_; }
  Value serverEventDataDictionary() const override {
    if (raises_) throw std::runtime_error(*raises_);
    return data_;
  }

 private:
  Text name_;
  Value data_;
  std::optional<std::string> raises_;
};

}  // namespace

void Arguments::fail(std::size_t index, std::string_view wanted) const {
  throw CommandError("argument " + std::to_string(index + 1) + " of " + std::string(selector_) + " wants " +
                     std::string(wanted) + ", found " + shown(values_[index]));
}

std::optional<Value> Arguments::marked(std::size_t index, std::string_view marker) const {
  const Dictionary object = values_[index].dictionary();
  if (object.size() != 1 || !object.holds(marker)) return std::nullopt;
  return object[marker];
}

bool Arguments::isMarked(std::size_t index) const { return marked(index, "$url") || marked(index, "$standard"); }

Text Arguments::text(std::size_t index) const {
  if (!values_[index].isText() && !values_[index].isNull()) fail(index, "text or null");
  return Text::of(values_[index]);
}

bool Arguments::boolean(std::size_t index) const {
  if (values_[index].kind() != Value::Kind::boolean) fail(index, "true or false");
  return values_[index].boolValue();
}

float Arguments::real(std::size_t index) const {
  const Value& value = values_[index];
  if (!value.isNumber() || value.kind() == Value::Kind::boolean) fail(index, "a number");
  return anyReal(index);
}

bool Arguments::anyBoolean(std::size_t index) const { return values_[index].boolValue(); }

float Arguments::anyReal(std::size_t index) const {
  const double number = values_[index].realValue();
  constexpr float infinity = std::numeric_limits<float>::infinity();
  if (std::abs(number) > std::numeric_limits<float>::max()) return number > 0 ? infinity : -infinity;
  return static_cast<float>(number);
}

int Arguments::code(std::size_t index) const {
  const Value& value = values_[index];
  const bool isWhole = value.kind() == Value::Kind::integer ||
                       (value.kind() == Value::Kind::real && value.realValue() == std::trunc(value.realValue()));
  if (!isWhole || value.integerValue() < std::numeric_limits<int>::min() ||
      value.integerValue() > std::numeric_limits<int>::max()) {
    fail(index, "a whole number");
  }
  return static_cast<int>(value.integerValue());
}

Value Arguments::dictionary(std::size_t index) const {
  const Value& value = values_[index];
  if (isMarked(index) || (!value.isDictionary() && !value.isNull())) fail(index, "an object or null");
  return value;
}

Value Arguments::payload(std::size_t index) const {
  if (values_[index].isArray()) return values_[index];
  if (isMarked(index) || (!values_[index].isDictionary() && !values_[index].isNull())) {
    fail(index, "an object, a list or null");
  }
  return values_[index];
}

URL Arguments::url(std::size_t index) const {
  if (values_[index].isNull()) return {};
  const auto text = marked(index, "$url");
  if (!text || !text->isText()) fail(index, R"({"$url":TEXT} or null)");
  return URL(Text::of(*text));
}

std::unique_ptr<EventStandardParameters> Arguments::standard(std::size_t index) const {
  if (values_[index].isNull()) return nullptr;
  const auto object = marked(index, "$standard");
  if (!object) fail(index, R"({"$standard":{"name":TEXT or null,"data":OBJECT or null}} or null)");
  const Members members("\"$standard\"", *object);
  members.allowOnly({"name", "data", "raises"});
  const auto optionalText = [&](std::string_view name) {
    return members.has(name) ? members.textOrNull(name) : std::nullopt;
  };
  return std::make_unique<ScriptedStandard>(optionalText("name"), members.objectOrNull("data"), optionalText("raises"));
}

bool Arguments::trueOrNull(std::size_t index, std::string_view wanted) const {
  const bool isTrue = values_[index] == Value(true);
  if (!isTrue && !values_[index].isNull()) fail(index, wanted);
  return isTrue;
}

AnyObject Arguments::any(std::size_t index) const {
  if (marked(index, "$url")) return url(index);
  if (!marked(index, "$standard")) return values_[index];
  standard(index);  // checked, and of no kind that an adapter takes
  return URL();
}

}  // namespace fliprugair::sim
