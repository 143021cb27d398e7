// Plays the seeds of a grammar: what to begin with, and what was found.

#include "fuzz/play.h"

namespace {

using Path = std::filesystem::path;

std::vector<Path> seeds() {
  std::vector<Path> all(std::filesystem::directory_iterator(MC_SEEDS), {});
  std::ranges::sort(all);
  return all;
}

class Seeds : public testing::TestWithParam<Path> {};

TEST_P(Seeds, AreWithstood) {
  std::ifstream file(GetParam(), std::ios::binary);
  play({std::istreambuf_iterator<char>(file), {}});
}

INSTANTIATE_TEST_SUITE_P(Of, Seeds, testing::ValuesIn(seeds()),
                         [](const auto& seed) { return seed.param.stem().string(); });

}  // namespace
