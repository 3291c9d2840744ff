// Texts that come from drives and firmware, which may hold anything. Pure functions.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

namespace inventory {

// As valid UTF-8 on one line: control characters become blanks, invalid UTF-8 becomes U+FFFD,
// and blanks at both ends go (vendor and model fields are padded with them).
std::string cleaned(std::string_view text);

// The first so many characters of valid UTF-8, without a blank at the end.
std::string cut(std::string_view text, std::size_t characters);

// The texts with one blank between them, empty ones left out.
std::string joined(std::initializer_list<std::string_view> texts);

// Whether a text may be published as the name of a device: it is handed to a shell unquoted and
// as a program's argument, so it holds nothing but letters, digits and "/_.-", and it fits the
// 64 characters of a device identifier.
bool is_device_name(std::string_view name);

// A text by which names sort as people count: sda, sdb, ..., sdz, sdaa; nvme2n1 before nvme10n1.
std::string natural_key(std::string_view name);

}  // namespace inventory
