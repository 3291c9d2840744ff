#include "drivetest/outcome.h"

#include <array>

#include "drivetest/name_table.h"

namespace drivetest {

namespace {

constexpr NameTable<Outcome, 4> kOutcomes = {{{Outcome::Passed, "passed"},
                                              {Outcome::Failed, "failed"},
                                              {Outcome::Aborted, "aborted"},
                                              {Outcome::Unknown, "unknown"}}};

struct Row {
  Outcome outcome;
  std::string_view cause;
};
// By code, 0 to 14. The codes that no standard gives a meaning have no cause here.
using Codes = std::array<Row, kRunningCode>;

using enum Outcome;
constexpr Row kReserved{Unknown, ""};

constexpr Codes kAta = {{{Passed, "completed without error"},
                         {Aborted, "aborted by the host"},
                         {Aborted, "interrupted by a reset or a loss of power"},
                         {Failed, "could not complete: fatal or unknown error"},
                         {Failed, "unknown element failed"},
                         {Failed, "electrical failure"},
                         {Failed, "servo or seek failure"},
                         {Failed, "read failure"},
                         {Failed, "handling damage suspected"},
                         kReserved,
                         kReserved,
                         kReserved,
                         kReserved,
                         kReserved,
                         kReserved}};
constexpr Codes kScsi = {{{Passed, "completed without error"},
                          {Aborted, "aborted by a command"},
                          {Aborted, "aborted by a reset or another way"},
                          {Failed, "could not complete: unknown error"},
                          {Failed, "unknown segment failed"},
                          {Failed, "first segment failed"},
                          {Failed, "second segment failed"},
                          {Failed, "a segment failed"},
                          kReserved,
                          kReserved,
                          kReserved,
                          kReserved,
                          kReserved,
                          kReserved,
                          kReserved}};
constexpr Codes kNvme = {{{Passed, "completed without error"},
                          {Aborted, "aborted by a command"},
                          {Aborted, "aborted by a reset of the controller"},
                          {Aborted, "aborted because a namespace was removed"},
                          {Aborted, "aborted by a format"},
                          {Failed, "could not complete: fatal or unknown error"},
                          {Failed, "unknown segment failed"},
                          {Failed, "a segment failed"},
                          {Aborted, "aborted for an unknown reason"},
                          {Aborted, "aborted by a sanitize operation"},
                          kReserved,
                          kReserved,
                          kReserved,
                          kReserved,
                          kReserved}};

const Codes* codes_of(Protocol protocol) {
  switch (protocol) {
    case Protocol::Ata:
      return &kAta;
    case Protocol::Scsi:
      return &kScsi;
    case Protocol::Nvme:
      return &kNvme;
    case Protocol::Unknown:
      break;
  }
  return nullptr;
}

}  // namespace

std::string_view name_of(Outcome outcome) { return name_in(kOutcomes, outcome); }
std::optional<Outcome> outcome_named(std::string_view name) { return named_in(kOutcomes, name); }

std::optional<ResultMeaning> result_meaning(Protocol protocol, int code) {
  const Codes* const codes = codes_of(protocol);
  if (!codes || code < 0 || code >= kRunningCode) return std::nullopt;
  const Row& row = (*codes)[static_cast<std::size_t>(code)];
  if (!row.cause.empty()) return ResultMeaning{row.outcome, std::string(row.cause)};
  return ResultMeaning{row.outcome,
                       "result code " + std::to_string(code) + ", which has no meaning"};
}

}  // namespace drivetest
