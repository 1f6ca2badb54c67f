// The example of a host app's test, as it stands, on a device whose requests are checked at its end.

#include <gtest/gtest.h>

#include "Fliprugair/testing.h"
#include "testing/CheckedRequests.h"

namespace fliprugair {

class CheckedTestDevice {
 public:
  Environment& environment() { return device_.environment(); }
  RecordedEvents events() { return device_.events(); }

 private:
  TestDevice device_;
  const CheckedRequests requests_{device_};
};

}  // namespace fliprugair

#define TestDevice CheckedTestDevice
#include "examples/testing/ShopTest.cpp"
#undef TestDevice
