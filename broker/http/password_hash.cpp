#include "broker/http/password_hash.h"

#include <crypt.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/words.h"

namespace broker::http {
namespace {

constexpr std::string_view kDigits =
    "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

// Of the product of block count, block size (in 128 bytes) and parallelism, with which memory and
// time grow.
constexpr std::uint64_t kMostBlocks = std::uint64_t{1} << 20;
constexpr std::uint64_t kMostRounds = 500'000;
constexpr std::uint64_t kMostDoublings = 13;

constexpr const char* kDamaged = "the password hash is damaged or cut short";

bool is_of_digits(std::string_view text) {
  return text.find_first_not_of(kDigits) == std::string_view::npos;
}

// A decimal number without leading zeros; 0 for any other text.
std::uint64_t number(std::string_view text) {
  std::uint64_t value = 0;
  if (text.empty() || text.front() == '0') return 0;
  for (const char digit : text) {
    if (digit < '0' || digit > '9') return 0;
    value = std::min(value * 10 + static_cast<std::uint64_t>(digit - '0'), std::uint64_t{1} << 40);
  }
  return value;
}

std::string too_costly(const std::string& most) {
  return "the password hash takes too long to check, or too much memory (at most " + most + ")";
}

std::string_view take_part(std::string_view& text) { return platform::take_to(text, '$'); }

std::string blocks_fault(std::uint64_t doublings, std::uint64_t size, std::uint64_t lanes,
                         const char* most) {
  const bool good = doublings < 32 && size > 0 && size <= kMostBlocks && lanes > 0 &&
                    lanes <= kMostBlocks / size && (size * lanes) << doublings <= kMostBlocks;
  return good ? "" : too_costly(most);
}

// Each of these takes what stands before the hash itself, and says what is wrong with it.

// PARAMETERS$SALT$
std::string yescrypt_fault(std::string_view& text) {
  const std::string_view parameters = take_part(text);
  if (parameters.size() < 3 || !is_of_digits(parameters) || !is_of_digits(take_part(text)))
    return kDamaged;
  // The flavour, the number of blocks and their size, of one digit each. Further parameters make
  // the check cost more in ways of their own; no tool sets them.
  const std::size_t blocks = kDigits.find(parameters[1]), size = kDigits.find(parameters[2]);
  constexpr const char* kMost = "the parameters jCT";
  if (parameters.size() > 3 || parameters[0] != 'j' || blocks > 47 || size > 47)
    return too_costly(kMost);
  return blocks_fault(blocks + 1, size + 1, 1, kMost);
}

// Of one, five and five digits, and SALT$
std::string scrypt_fault(std::string_view& text) {
  const std::string_view parameters = take_part(text);
  if (parameters.size() < 11 || !is_of_digits(parameters)) return kDamaged;
  const auto value = [&](std::size_t at) {
    std::uint64_t sum = 0;
    for (std::size_t i = 5; i-- > 0;) sum = sum << 6 | kDigits.find(parameters[at + i]);
    return sum;
  };
  return blocks_fault(kDigits.find(parameters[0]), value(1), value(6),
                      "the parameters DU..../....");
}

// COST$, and the salt is a part of the hash
std::string bcrypt_fault(std::string_view& text) {
  std::string_view cost = take_part(text);
  if (cost.size() != 2) return kDamaged;
  if (cost.front() == '0') cost.remove_prefix(1);
  const std::uint64_t doublings = number(cost);
  if (doublings == 0) return kDamaged;
  return doublings > kMostDoublings ? too_costly("cost " + std::to_string(kMostDoublings)) : "";
}

// SALT$ or rounds=NUMBER$SALT$
std::string sha_fault(std::string_view& text) {
  if (text.starts_with("rounds=")) {
    const std::uint64_t rounds = number(take_part(text).substr(7));
    if (rounds < 1000) return kDamaged;
    if (rounds > kMostRounds) return too_costly("rounds=" + std::to_string(kMostRounds));
  }
  return take_part(text).size() > 16 ? kDamaged : "";
}

struct HashMethod {
  std::string_view prefix;
  std::size_t length;  // of the hash itself
  std::string (*fault)(std::string_view& text);
};

constexpr HashMethod kMethods[] = {
    {"$y$", 43, yescrypt_fault}, {"$gy$", 43, yescrypt_fault}, {"$7$", 43, scrypt_fault},
    {"$2a$", 53, bcrypt_fault},  {"$2b$", 53, bcrypt_fault},   {"$2y$", 53, bcrypt_fault},
    {"$6$", 86, sha_fault},      {"$5$", 43, sha_fault},
};

}  // namespace

bool is_good_hash(const std::string& hash) {
  const int judged = crypt_checksalt(hash.c_str());
  const bool known = std::ranges::any_of(
      kMethods, [&](const HashMethod& method) { return hash.starts_with(method.prefix); });
  return known && (judged == CRYPT_SALT_OK ||
                   (judged == CRYPT_SALT_METHOD_LEGACY && hash.starts_with("$5$")));
}

std::string hash_fault(const std::string& hash) {
  if (!is_good_hash(hash)) return "no password hash, or one of a method that is too weak";
  const HashMethod& method = *std::ranges::find_if(
      kMethods, [&](const HashMethod& one) { return hash.starts_with(one.prefix); });
  std::string_view text = std::string_view(hash).substr(method.prefix.size());
  std::string fault = method.fault(text);
  if (fault.empty() && (text.size() != method.length || !is_of_digits(text))) fault = kDamaged;
  return fault;
}

}  // namespace broker::http
