#pragma once

// A header of the app's own. The library has one of this name inside, which must not be found instead, or shadow it.
namespace app {

inline const char* greeting() { return "a header of the app's own"; }

}  // namespace app
