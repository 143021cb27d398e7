// The pairing of the two controllers: the forms of serial numbers.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>

#include "app/pairing/app_BurnToActive.h"
#include "sysinfo/record/si_MacAddress.h"
#include "util/ut_Misc.h"

namespace services::app {

namespace {

constexpr std::size_t suffixLength = 6;  // the lower half of a MAC address in hexadecimal

bool beginsWithX(const char* serial) { return *serial == 'X'; }

std::string_view suffixOf(std::string_view serial) {
  return serial.substr(serial.size() - std::min(serial.size(), suffixLength));
}

bool isSameLetter(char one, char other) {
  return std::toupper(static_cast<unsigned char>(one)) ==
         std::toupper(static_cast<unsigned char>(other));
}

bool haveSameSuffix(std::string_view one, std::string_view other) {
  return one.size() >= suffixLength && other.size() >= suffixLength &&
         std::ranges::equal(suffixOf(one), suffixOf(other), isSameLetter);
}

}  // namespace

void BurnToActive::makeControllerSN(std::uint64_t macAddress, char* buffer, unsigned int size) {
  if (buffer == nullptr || size == 0) return;
  *buffer = 'X';
  utility::Misc::toHexString(macAddress, true, buffer + 1, static_cast<int>(size - 1));
}

bool BurnToActive::isValidControllerSN(const char* serial) {
  if (serial == nullptr || !beginsWithX(serial)) return false;
  const std::string_view digits = serial + 1;
  return digits.size() == 16 && std::ranges::all_of(digits, utility::Misc::isHexChar);
}

bool BurnToActive::comparePairedSN(const char* one, const char* other) {
  if (one == nullptr || other == nullptr) return false;
  if (std::strcmp(one, other) == 0) return true;
  return beginsWithX(one) != beginsWithX(other) && haveSameSuffix(one, other);
}

void BurnToActive::convertToPairedSN(const char* serial, char* buffer, unsigned int size) {
  if (buffer != nullptr && size > 0) *buffer = '\0';
  if (serial == nullptr) return;
  const std::uint64_t lower = utility::Misc::uint64FromHexString(suffixOf(serial).data());
  makeControllerSN((sysinfo::controllerPrefix << 24) + lower, buffer, size);
}

}  // namespace services::app
