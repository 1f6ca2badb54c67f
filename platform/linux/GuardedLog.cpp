#include "platform/linux/GuardedLog.h"

#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "platform/Joined.h"

namespace fliprugair {

namespace {

void writeToStandardError(std::string_view line) {
  // One call, so that the lines of several threads do not mix.
  const std::string text = std::string(line) + '\n';
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace

Log guardedLog(Log sink) {
  if (!sink) sink = writeToStandardError;
  return [shared = std::make_shared<const Log>(std::move(sink))](std::string_view line) {
    try {
      (*shared)(line);
    } catch (...) {
      // There is nobody left to tell.
    }
  };
}

void runGuarded(FunctionRef<void()> code, std::string_view what, const Log& log) {
  try {
    std::string message;
    try {
      code();
      return;
    } catch (const std::exception& exception) {
      message = exception.what();
    } catch (...) {
      message = "something that is no std::exception";
    }
    log(joined({what, " threw: ", message}));
  } catch (...) {
    // No memory to say so.
  }
}

}  // namespace fliprugair
