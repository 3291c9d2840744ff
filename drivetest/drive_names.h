// The names by which the history knows a drive, now and formerly. Internal to the history.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivetest/database.h"
#include "drivetest/history_rows.h"

namespace drivetest {

// By an EUI-64 or NGUID, which can be read only while the namespace is there.
bool is_named_by_namespace(const Drive& drive);
// As the drive is known while the name of its namespace cannot be read.
Drive unnamed(Drive drive);

// By what else the drive may have been known: by model and serial number before the name
// of its namespace could be read, and by its place with a type that only says how it is reached.
std::vector<std::string> former_identities(const Drive& drive);

// What is known of the drive by a former name is known by its own from now on.
void name_drive(Database& database, std::string_view machine_id, const std::string& former,
                const Drive& drive, Time now);

// Whether the history knows drives by their places that claim to be this one, at this place or
// another.
bool is_known_apart(Database& database, std::string_view machine_id, const Drive& drive);
// The row of the claimed identity, if its tests are this drive's: they were kept before a second
// drive claimed it. Not set where there is no test, or where the running one (else the newest) was
// at another place or in a drive of another size.
std::optional<std::int64_t> known_before_apart(Database& database, std::string_view machine_id,
                                               const Drive& drive);
// Gives the tests and the seen log of the claimed identity to the identity with the place.
void know_apart(Database& database, std::string_view machine_id, std::int64_t claimed,
                std::string_view identity, Time now);

// The drive of a row, which tells by its identity whether another claims to be the same.
Drive kept_drive(const KeptTest& test);
// Whether the file has the test under an identity with its place, and this history under the
// claimed identity.
bool is_apart_since(const KeptTest& here, const KeptTest& test);
// Whether a file has the identity that is from before the name of the drive's namespace was
// known, or before the drive was known by its place.
bool is_former_identity(std::string_view identity, const KeptTest& here);
// The only drive with such a name that a drive without one can be; not set where there are several.
std::optional<std::int64_t> find_named(Database& database, std::string_view machine_id,
                                       const Drive& drive);

}  // namespace drivetest
