#pragma once

// The library has a header of this name for itself, and the app none.
#error "the library's sources have taken a header of the app's own for one of theirs"
