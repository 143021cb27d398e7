// The version texts of two controllers, as their records give them.
#include "app/pairing/app_UpdateRules.h"
#include "fuzz/play.h"
#include "sysinfo/record/si_Field.h"

using namespace services;

namespace {

app::VersionTexts versionsOf(const std::string& mc, const std::string& cpld,
                             const std::string& bundle) {
  app::VersionTexts versions;
  const auto put = [](auto& field, const std::string& text) {
    utility::BufferStream(field.data(), int(field.size()), true).PutS(text.c_str());
  };
  put(versions.mc, mc);
  put(versions.cpld, cpld);
  put(versions.bundle, bundle);
  return versions;
}

}  // namespace

// What one controller sees, the other sees from its side, so that no two push at each other for a
// version alone.
void play(const std::string& input) {
  using enum app::Comparison;
  const auto texts = textsOf(input, 6);
  const auto one = versionsOf(texts[0], texts[1], texts[2]);
  const auto other = versionsOf(texts[3], texts[4], texts[5]);
  const auto here = app::compareVersions(one, other), there = app::compareVersions(other, one);
  REQUIRE((here == Unavailable) == (there == Unavailable));
  REQUIRE((here == Equal) == (there == Equal));
  REQUIRE(here != Different || there == PartnerOlder);
  app::decideUpdate({.comparison = here, .hasDecisions = input.size() % 2 == 0});
}
