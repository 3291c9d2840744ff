// Hashes of passwords as text, as crypt(5) describes them: whether one is fit to be checked.
#pragma once

#include <string>

namespace broker::http {

// Whether the system can check the hash, and it is not of a method that is quickly broken. The
// library calls SHA-256 "legacy", but it is good.
bool is_good_hash(const std::string& hash);

// What is wrong with a hash: not of a good method, not as long as its method's are, or one whose
// check takes more than about a second or 128 MiB. Empty for a good one. Tells without computing
// a hash.
std::string hash_fault(const std::string& hash);

}  // namespace broker::http
