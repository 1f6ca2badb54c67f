#include "Fliprugair/core/Context.h"

#include <exception>

#include "platform/Joined.h"

namespace fliprugair {

void Context::update(std::string_view key, FunctionRef<Value(const Value&)> change) const {
  store_.update(key, change);
}

void Context::log(std::string_view method, int line, std::string_view message) const {
  const std::string text = joined({method, " [Line ", signedText(line), "] ", message});
  try {
    platform_.log(text);
  } catch (...) {
    // A host app's sink that throws costs the line; there is nowhere left to say so.
  }
}

void Context::logIfEnabled(std::string_view method, int line, std::string_view message) const {
  if (loggingEnabled()) log(method, line, message);
}

void Context::logIfEnabled(std::string_view method, int line, std::string_view message, const Value& value) const {
  if (loggingEnabled()) log(method, line, joined({message, described(value)}));
}

std::string Context::described(const Value& value) const {
  if (value.isNull()) return "(null)";
  if (value.isText()) return value.text();
  return json().textOfAny(value);
}

bool Context::isTooDeep(std::string_view method, int line, const Value& given) const {
  // The rest is for what the tracker puts around it: data, record, batch, queue.
  constexpr std::size_t deepestGiven = 500;
  static_assert(deepestGiven + 4 <= Value::deepest);
  if (given.depth() <= deepestGiven) return false;
  logIfEnabled(method, line,
               joined({"Marlune library - nested deeper than ", signedText(deepestGiven), " levels (not used)"}));
  return true;
}

void Context::perform(FunctionRef<void()> operation) const {
  guarded([&] {
    if (isInert()) return;
    store_.beginGroup();
    guarded(operation);
    store_.endGroup();
  });
}

void Context::guarded(FunctionRef<void()> operation) const {
  constexpr std::string_view method = "-[MarluneTracker guarded:]";
  try {
    try {
      operation();
    } catch (const std::exception& exception) {
      log(method, 2604, joined({"EXCEPTION (CAUGHT) 5b1f3a52-6c0e-4d0b-9d3c-0f7f6b2f8a41 - ", exception.what()}));
    } catch (...) {
      log(method, 2607, "EXCEPTION (CAUGHT) 8d0a5f0e-3b61-4a0c-8f55-1c6a4c2f9e77 - (null)");
    }
  } catch (...) {
    // No memory to say so.
  }
}

void Context::postToMainQueue(PlainTask task) {
  auto tracker = owner_.lock();
  if (tracker == nullptr) return;
  platform_.mainQueue().async([this, tracker = std::move(tracker), task] { perform(task); });
}

void Context::arm(TimerReference& reference, double seconds, Literal selector, PlainTask action) {
  reference.store(platform_.mainQueue().scheduleTimer(seconds, selector.text(), [this, weak = owner_, action] {
    if (const auto tracker = weak.lock()) perform(action);
  }));
}

}  // namespace fliprugair
