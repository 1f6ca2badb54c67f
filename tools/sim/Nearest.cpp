#include "tools/sim/Nearest.h"

#include <algorithm>
#include <cctype>

namespace fliprugair::sim {

namespace {

std::string inLowerCase(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](unsigned char letter) { return std::tolower(letter); });
  return lower;
}

/// How many letters have to be put in, left out, exchanged, or swapped with their neighbour.
std::size_t distance(const std::string& one, const std::string& other) {
  std::vector<std::vector<std::size_t>> of(one.size() + 1, std::vector<std::size_t>(other.size() + 1));
  for (std::size_t row = 0; row <= one.size(); ++row) {
    for (std::size_t column = 0; column <= other.size(); ++column) {
      if (row == 0 || column == 0) {
        of[row][column] = row + column;
        continue;
      }
      const std::size_t exchanged = one[row - 1] == other[column - 1] ? 0 : 1;
      of[row][column] =
          std::min({of[row - 1][column] + 1, of[row][column - 1] + 1, of[row - 1][column - 1] + exchanged});
      if (row > 1 && column > 1 && one[row - 1] == other[column - 2] && one[row - 2] == other[column - 1]) {
        of[row][column] = std::min(of[row][column], of[row - 2][column - 2] + 1);
      }
    }
  }
  return of[one.size()][other.size()];
}

bool isNear(const std::string& word, const std::string& known, std::size_t distance) {
  constexpr std::size_t shortestBeginning = 3;
  if (word.size() >= shortestBeginning && known.starts_with(word)) return true;
  return distance <= std::max<std::size_t>(std::max(word.size(), known.size()) / 3, 1) && distance < known.size();
}

}  // namespace

std::string suggestion(std::string_view word, const std::vector<std::string_view>& known) {
  constexpr std::size_t longestWord = 100;  // what is longer was no slip of the finger
  if (word.size() > longestWord) return "";
  const std::string given = inLowerCase(word);
  std::string_view nearest;
  std::size_t least = 0;
  for (const std::string_view candidate : known) {
    const std::string lower = inLowerCase(candidate);
    const std::size_t away = distance(given, lower);
    if (!isNear(given, lower, away) || (!nearest.empty() && away >= least)) continue;
    nearest = candidate;
    least = away;
  }
  return nearest.empty() ? "" : "; did you mean \"" + std::string(nearest) + "\"?";
}

}  // namespace fliprugair::sim
