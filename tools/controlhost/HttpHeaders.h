#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Fliprugair/controlhost/Http.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

/// Whether they are the same in any case of letters, as names of headers are.
bool sameName(std::string_view left, std::string_view right);

/// The first header of that name; "" when there is none.
std::string headerOf(const HttpHeaders& headers, std::string_view name);

/// All headers of that name.
std::vector<std::string> headersOf(const HttpHeaders& headers, std::string_view name);

/// As lists of a name and a value. Of a value that is no UTF-8 each character stands for a byte, and "latin-1" behind
/// it says so.
Array jsonOf(const HttpHeaders& headers);
HttpHeaders headersIn(const Array& json);

bool isUTF8(const std::string& bytes);
/// A text in which each character stands for a byte.
std::string latin1(std::string_view bytes);

/// Texts as one header would list them: "gzip, br".
std::string listed(const std::vector<std::string>& values);

}  // namespace fliprugair::controlhost
