#pragma once

#include <string_view>

namespace fliprugair {

/// Whether `bytes` are a keyed archive, as a binary or XML property list, whose root object can be read back.
///
/// That is: archiver and version are the platform's, the root is not nil, and everything that it leads to is there:
/// references lie among the objects, and an object's class is described by its name and, if they are given, those of
/// its ancestors. Classes are not looked up: the application's own are none of this library's business.
///
/// Objects may lead back to one another, as parents and children do. Collections that contain themselves through
/// nothing but collections may not: no reader could fill one before the other.
///
/// Any bytes are answered, within bounded time and memory (PlistShape.h), unless memory runs out (std::bad_alloc).
bool isReadableKeyedArchive(std::string_view bytes);

}  // namespace fliprugair
