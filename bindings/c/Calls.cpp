#include "bindings/c/Calls.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair {

namespace {

void say(char** error, const char* text) {
  if (error != nullptr) *error = copyOf(text);
}

}  // namespace

char* copyOf(const std::string& text) {
  // NOLINTNEXTLINE(cppcoreguidelines-owning-memory): only malloc's memory may be freed by C
  char* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy != nullptr) std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

void require(const void* argument, const char* name) {
  if (argument == nullptr) throw std::invalid_argument(std::string(name) + " is a null pointer");
}

Dictionary dictionaryOf(const char* json, const char* name) {
  require(json, name);
  const auto value = RapidJSONSerialization().value(json);
  if (!value || !value->isDictionary()) throw std::invalid_argument(std::string(name) + " is not a JSON object");
  return value->dictionary();
}

fliprugair_status failure(char** error) noexcept {
  try {
    throw;
  } catch (const std::invalid_argument& refused) {
    say(error, refused.what());
    return FLIPRUGAIR_INVALID_ARGUMENT;
  } catch (const std::exception& exception) {
    say(error, exception.what());
  } catch (...) {
    say(error, "what a callback threw is no std::exception");
  }
  return FLIPRUGAIR_FAILED;
}

}  // namespace fliprugair

void fliprugair_free(char* text) {
  // NOLINTNEXTLINE(cppcoreguidelines-owning-memory): copyOf took it from malloc
  std::free(text);
}

const char* fliprugair_version(void) { return FLIPRUGAIR_VERSION_TEXT; }
