// Random histories: made from seeds, played, and shortened when they go wrong.
#pragma once

#include "support/Standard.h"

namespace test {

using Texts = std::vector<std::string>;

constexpr std::int64_t second = 1000000;  ///< in microseconds

/// A text of a printf format, at most 999 characters.
inline __attribute__((format(printf, 1, 2))) std::string text(const char* format, ...) {
  std::array<char, 1000> result;
  std::va_list values;
  va_start(values, format);
  std::vsnprintf(result.data(), result.size(), format, values);
  va_end(values);
  return result.data();
}

/// The words of a text, as blanks part them.
inline Texts words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

/// The same numbers from the same seed on every machine.
class Random {
 public:
  explicit Random(unsigned long seed) : m_engine(seed) {}
  long below(long end) { return static_cast<long>(m_engine() % static_cast<unsigned long>(end)); }
  bool once(long in) { return below(in) == 0; }
  template <typename Item>
  Item of(const std::vector<Item>& list) {
    return list[static_cast<std::size_t>(below(std::ssize(list)))];
  }

 private:
  std::mt19937_64 m_engine;
};

/// What happens in a story: when, what, to whom, and a number that says which or how much.
struct Happening {
  std::int64_t at;  ///< milliseconds since the start; below 0: before it
  std::string what;
  std::string who;
  long number;
};

/// What is given, by name, and what happens then, in its order.
struct Story {
  std::map<std::string, Texts> given;
  std::vector<Happening> happenings;

  bool has(const std::string& name, const std::string& entry) const {
    const auto found = given.find(name);
    return found != given.end() && std::ranges::count(found->second, entry) > 0;
  }
  long number(const std::string& name) const {
    const auto found = given.find(name);
    return found == given.end() ? 0 : std::stol(found->second[0]);
  }
  std::string tell() const {
    std::string told;
    for (const auto& [name, entries] : given) {
      told += name + ":";
      for (const std::string& entry : entries) told += " \"" + entry + "\"";
      told += "\n";
    }
    for (const auto& [at, what, who, number] : happenings) {
      told += text("%9.3f s  %s: %s %ld\n", double(at) / 1000, who.c_str(), what.c_str(), number);
    }
    return told;
  }
};

/// The story without the happenings that its failure does not need: ever smaller parts are left
/// out for as long as `fails(story)` holds.
template <typename Fails>
Story shortened(Story story, Fails fails) {
  for (std::size_t part = story.happenings.size(); part > 0; part /= 2) {
    for (std::size_t at = 0; at < story.happenings.size();) {
      Story shorter = story;
      const auto begin = shorter.happenings.begin() + static_cast<std::ptrdiff_t>(at);
      const auto left = static_cast<std::size_t>(shorter.happenings.end() - begin);
      shorter.happenings.erase(begin, begin + static_cast<std::ptrdiff_t>(std::min(part, left)));
      fails(shorter) ? std::swap(story, shorter) : void(at += part);
    }
  }
  return story;
}

/// Where two traces part, with what came before; empty when they are alike.
inline std::string parting(const Texts& expected, const Texts& came) {
  const auto [first, second] = std::ranges::mismatch(expected, came);
  if (first == expected.end() && second == came.end()) return "";
  std::string told;
  for (auto line = first - std::min<std::ptrdiff_t>(8, first - expected.begin()); line != first;) {
    told += "          " + *line++ + "\n";
  }
  return told + "expected: " + (first == expected.end() ? "nothing more" : *first) +
         "\n    came: " + (second == came.end() ? "nothing more" : *second) + "\n";
}

/// Plays the stories of 300 seeds, of 20,000 with MC_DEEP=1 or as many as are given, or that of
/// MC_SEED=N alone:
/// `make(random)` makes a story, `difference(story)` plays it and answers what was wrong, empty for
/// nothing. The first that goes wrong is shortened and told, and ends the campaign.
template <typename Make, typename Difference>
void campaign(Make make, Difference difference, unsigned long seeds = 300,
              unsigned long deepSeeds = 20000) {
  const char* const alone = std::getenv("MC_SEED");
  const unsigned long first = alone == nullptr ? 1 : std::stoul(alone);
  const unsigned long last = alone != nullptr                    ? first
                             : std::getenv("MC_DEEP") != nullptr ? deepSeeds
                                                                 : seeds;
  // The log goes to standard error; many stories' would bury all else.
  if (alone == nullptr) ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
  for (unsigned long seed = first; seed <= last; ++seed) {
    std::printf("\rMC_SEED=%lu ", seed);  // should it end all
    std::fflush(stdout);
    Random random(seed);
    Story story = make(random);
    if (difference(story).empty()) continue;
    story = shortened(story, [&](const Story& shorter) { return !difference(shorter).empty(); });
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    FAIL() << story.tell() << difference(story) << "again: MC_SEED=" << seed << " "
           << program_invocation_name << " --gtest_filter=" << test->test_suite_name() << "."
           << test->name();
  }
}

}  // namespace test
