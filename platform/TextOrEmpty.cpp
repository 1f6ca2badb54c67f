#include "platform/TextOrEmpty.h"

namespace fliprugair {

Value textOrEmpty(const Value& value) { return value.isText() ? value : Value(""); }

}  // namespace fliprugair
