// Hashes of passwords as text, as crypt(5) describes them: whether one is fit to be checked.
#pragma once

#include <string>

namespace broker::http {

// Whether the system can check it and it is of no method that is quickly broken. SHA-256 is
// "legacy" to the library, but good.
bool is_good_hash(const std::string& hash);

// What is wrong with it, or nothing: no hash of a good method, not as long as those of its method
// are, or one that takes longer to check than about a second, or more than 128 MiB. Nothing is
// computed to tell.
std::string hash_fault(const std::string& hash);

}  // namespace broker::http
