#include <algorithm>
#include <map>
#include <random>

#include "Fliprugair/platform/Value.h"

namespace fliprugair {
namespace {

using Pairs = std::vector<std::pair<std::string, Value>>;

Pairs pairsOf(const Dictionary& dictionary) {
  Pairs pairs;
  for (const Dictionary::Entry& entry : dictionary.entries()) pairs.emplace_back(entry.key(), entry.value);
  return pairs;
}

/// The simplest dictionary in order of insertion, to compare with.
class Model {
 public:
  void set(const std::string& key, const Value& value) {
    const auto known = find(key);
    if (known != pairs_.end()) {
      known->second = value;
    } else {
      pairs_.emplace_back(key, value);
    }
  }
  void remove(const std::string& key) {
    const auto known = find(key);
    if (known != pairs_.end()) pairs_.erase(known);
  }
  const Pairs& pairs() const { return pairs_; }

 private:
  Pairs::iterator find(const std::string& key) {
    return std::ranges::find(pairs_, key, [](const auto& pair) { return pair.first; });
  }
  Pairs pairs_;
};

Pairs numberedPairs(std::size_t count) {
  Pairs pairs;
  for (std::size_t number = 0; number < count; ++number) pairs.emplace_back("key " + std::to_string(number), number);
  return pairs;
}

TEST(Dictionary, EnumeratesInTheOrderOfInsertionHoweverManyThereAre) {
  for (const std::size_t count : {0, 1, 31, 32, 33, 127, 128, 129, 1000, 10000}) {
    const Pairs pairs = numberedPairs(count);
    Dictionary grown;
    for (const auto& [key, value] : pairs) grown = grown.setting(key, value);
    const Dictionary made(pairs);
    EXPECT_EQ(grown.size(), count);
    EXPECT_EQ(made.size(), count);
    EXPECT_TRUE(pairsOf(grown) == pairs) << count;
    EXPECT_TRUE(pairsOf(made) == pairs) << count;
    EXPECT_TRUE(grown == made) << count;
    for (const auto& [key, value] : pairs) ASSERT_EQ(grown[key], value);
  }
}

TEST(Dictionary, AnOlderCopyIsUnchanged) {
  for (const std::size_t count : {1, 31, 32, 33, 1000, 10000}) {
    const Pairs pairs = numberedPairs(count);
    const Dictionary before(pairs);
    EXPECT_EQ(before.setting("new", 1).size(), count + 1);
    EXPECT_EQ(before.setting("key 0", "changed")["key 0"], Value("changed"));
    EXPECT_EQ(before.removing("key 0").size(), count - 1);
    EXPECT_TRUE(pairsOf(before) == pairs) << count;
    EXPECT_FALSE(before.holds("new"));
  }
}

TEST(Dictionary, AReplacedValueKeepsItsPlace) {
  for (const std::size_t count : {2, 33, 1000}) {
    Pairs pairs = numberedPairs(count);
    const std::size_t place = count / 2;
    const Dictionary changed = Dictionary(pairs).setting(pairs[place].first, "changed");
    pairs[place].second = "changed";
    EXPECT_TRUE(pairsOf(changed) == pairs) << count;
  }
}

TEST(Dictionary, ARemovedKeyThatComesBackStandsAtTheEnd) {
  for (const std::size_t count : {2, 33, 1000}) {
    Pairs pairs = numberedPairs(count);
    const Dictionary changed = Dictionary(pairs).removing("key 0").setting("key 0", "back");
    std::rotate(pairs.begin(), pairs.begin() + 1, pairs.end());
    pairs.back().second = "back";
    EXPECT_TRUE(pairsOf(changed) == pairs) << count;
  }
}

TEST(Dictionary, RemovingWhatIsAbsentChangesNothing) {
  const Dictionary dictionary(numberedPairs(40));
  EXPECT_TRUE(dictionary.removing("none") == dictionary);
  EXPECT_TRUE(Dictionary().removing("none").empty());
}

TEST(Dictionary, CanBeEmptiedAndFilledAgain) {
  const Pairs pairs = numberedPairs(500);
  Dictionary dictionary(pairs);
  for (const auto& [key, value] : pairs) dictionary = dictionary.removing(key);
  EXPECT_TRUE(dictionary.empty());
  EXPECT_TRUE(pairsOf(dictionary).empty());
  EXPECT_TRUE(dictionary == Dictionary());
  for (const auto& [key, value] : pairs) dictionary = dictionary.setting(key, value);
  EXPECT_TRUE(pairsOf(dictionary) == pairs);
}

TEST(Dictionary, OfRepeatedKeysTheLastValueHoldsInTheFirstPlace) {
  const Dictionary few({{"a", 1}, {"b", 2}, {"a", 3}});
  EXPECT_TRUE(pairsOf(few) == (Pairs{{"a", 3}, {"b", 2}}));
  Pairs pairs = numberedPairs(100);
  pairs.emplace_back("key 50", "repeated");
  pairs.emplace_back("key 0", "once");
  pairs.emplace_back("key 0", "twice");
  Pairs expected = numberedPairs(100);
  expected[50].second = "repeated";
  expected[0].second = "twice";
  EXPECT_TRUE(pairsOf(Dictionary(pairs)) == expected);
}

TEST(Dictionary, TellsAbsentFromHeldNothing) {
  const Dictionary dictionary({{"null", Value()}});
  EXPECT_TRUE(dictionary.holds("null"));
  EXPECT_FALSE(dictionary.holds("absent"));
  EXPECT_TRUE(dictionary["null"].isNull());
  EXPECT_EQ(dictionary.size(), 1U);
}

TEST(Dictionary, TakesAnyTextAsKey) {
  const std::string withNul("a\0b", 3);
  const std::string enormous(1 << 20, 'k');
  const Dictionary dictionary = Dictionary().setting("", 1).setting(withNul, 2).setting("a", 3).setting(enormous, 4);
  EXPECT_EQ(dictionary[""], Value(1));
  EXPECT_EQ(dictionary[withNul], Value(2));
  EXPECT_EQ(dictionary["a"], Value(3));
  EXPECT_EQ(dictionary[enormous], Value(4));
}

TEST(Dictionary, ItsEntriesOutliveIt) {
  auto dictionary = std::make_unique<Dictionary>(numberedPairs(100));
  const auto entries = dictionary->entries();
  dictionary.reset();
  std::size_t count = 0;
  for (const Dictionary::Entry& entry : entries) EXPECT_EQ(entry.key(), "key " + std::to_string(count++));
  EXPECT_EQ(count, 100U);
}

TEST(Dictionary, AgreesWithAListOfPairsUnderRandomChanges) {
  std::mt19937 random(5);
  for (const std::size_t keys : {5, 40, 300, 2000}) {
    Model model;
    Dictionary dictionary;
    for (std::size_t step = 0; step < keys * 4; ++step) {
      const std::string key = "k" + std::to_string(random() % keys);
      if (random() % 3 == 0) {
        model.remove(key);
        dictionary = dictionary.removing(key);
      } else {
        model.set(key, step);
        dictionary = dictionary.setting(key, step);
      }
      if (step % 97 != 0) continue;
      ASSERT_TRUE(pairsOf(dictionary) == model.pairs()) << "step " << step << " of " << keys;
    }
    ASSERT_TRUE(pairsOf(dictionary) == model.pairs()) << keys;
  }
}

/// What `difference` promises: taking out what was removed and putting in what was added, each at its order, gives
/// `after`.
void expectDifferenceLeads(const Dictionary& before, const Dictionary& after) {
  const auto difference = Dictionary::difference(before, after);
  std::map<std::uint64_t, Dictionary::Entry> rows;
  for (const Dictionary::Entry& entry : before.entries()) ASSERT_TRUE(rows.emplace(entry.order, entry).second);
  for (const Dictionary::Entry& entry : difference.removed) {
    const auto row = rows.find(entry.order);
    ASSERT_TRUE(row != rows.end() && row->second.key() == entry.key()) << "removed what was not there: " << entry.key();
    rows.erase(row);
  }
  std::uint64_t last = 0;
  for (const Dictionary::Entry& entry : difference.added) {
    ASSERT_GE(entry.order, last) << "added out of order";
    last = entry.order;
    ASSERT_TRUE(rows.emplace(entry.order, entry).second) << "two entries of one order: " << entry.key();
  }
  Pairs result;
  for (const auto& [order, entry] : rows) result.emplace_back(entry.key(), entry.value);
  ASSERT_TRUE(result == pairsOf(after));
}

/// The entries of `from` of which `against` does not hold the same object under the same key in the same order.
std::size_t naiveCount(const Dictionary& from, const Dictionary& against) {
  std::size_t count = 0;
  for (const Dictionary::Entry& entry : from.entries()) {
    bool found = false;
    for (const Dictionary::Entry& other : against.entries()) {
      found =
          found || (other.key() == entry.key() && other.order == entry.order && other.value.isSameObject(entry.value));
    }
    if (!found) ++count;
  }
  return count;
}

TEST(DictionaryDifference, OfTheSameDictionaryIsEmpty) {
  const Dictionary dictionary(numberedPairs(1000));
  const auto difference = Dictionary::difference(dictionary, dictionary);
  EXPECT_TRUE(difference.removed.empty());
  EXPECT_TRUE(difference.added.empty());
}

TEST(DictionaryDifference, NamesWhatWasAddedReplacedAndRemoved) {
  const Dictionary before({{"stays", 1}, {"changes", 2}, {"goes", 3}});
  const Dictionary after = before.setting("changes", "new").removing("goes").setting("comes", 4);
  const auto difference = Dictionary::difference(before, after);
  ASSERT_EQ(difference.removed.size(), 2U);
  ASSERT_EQ(difference.added.size(), 2U);
  EXPECT_EQ(difference.added[0].key(), "changes");
  EXPECT_EQ(difference.added[0].value, Value("new"));
  EXPECT_EQ(difference.added[1].key(), "comes");
}

TEST(DictionaryDifference, LeadsFromAnyDictionaryToAnyOtherOfItsLine) {
  std::mt19937 random(9);
  for (const std::size_t keys : {3, 30, 60, 400}) {
    for (int round = 0; round < 30; ++round) {
      std::vector<Dictionary> versions{Dictionary()};
      for (std::size_t step = 0; step < keys; ++step) {
        const std::string key = "k" + std::to_string(random() % keys);
        const Dictionary& last = versions.back();
        versions.push_back(random() % 4 == 0 ? last.removing(key) : last.setting(key, random() % 3));
      }
      const Dictionary& one = versions[random() % versions.size()];
      const Dictionary& two = versions[random() % versions.size()];
      expectDifferenceLeads(one, two);
      if (testing::Test::HasFatalFailure()) return;
      const auto difference = Dictionary::difference(one, two);
      ASSERT_EQ(difference.removed.size(), naiveCount(one, two));
      ASSERT_EQ(difference.added.size(), naiveCount(two, one));
    }
  }
}

TEST(DictionaryDifference, LeadsBetweenDictionariesThatShareNothing) {
  const Dictionary empty;
  const Dictionary small({{"a", 1}, {"b", "text"}});
  const Dictionary turned({{"b", "text"}, {"a", 1}});
  const Dictionary large(numberedPairs(200));
  for (const Dictionary& before : {empty, small, turned, large}) {
    for (const Dictionary& after : {empty, small, turned, large}) expectDifferenceLeads(before, after);
  }
}

}  // namespace
}  // namespace fliprugair
