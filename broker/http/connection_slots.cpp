#include "broker/http/connection_slots.h"

#include <algorithm>
#include <utility>

namespace broker::http {

ConnectionSlots::Slot* ConnectionSlots::Group::crowded_out() {
  // The oldest of the fullest network, those without work first.
  Slot* chosen = nullptr;
  const auto rank = [](const Slot& slot) { return std::pair(!slot.has_work, slot.count->second); };
  for (Slot* const slot : slots)
    if (!chosen || rank(*slot) > rank(*chosen)) chosen = slot;
  return chosen;
}

bool ConnectionSlots::Group::is_fullest(const Slot& slot) const {
  return std::all_of(networks.begin(), networks.end(),
                     [&](const auto& other) { return other.second <= slot.count->second; });
}

ConnectionSlots::Slot* ConnectionSlots::enter(Slot& slot) {
  const auto [count, added] = unknown_.networks.try_emplace(slot.network, 0);
  try {
    slot.position = unknown_.slots.insert(unknown_.slots.end(), &slot);
  } catch (...) {
    if (added) unknown_.networks.erase(count);
    throw;
  }
  slot.count = count;
  ++count->second;
  slot.held = true;
  if (unknown_.slots.size() <= unknown_.most) return nullptr;
  Slot* const gone = unknown_.crowded_out();
  if (gone != &slot || unknown_.is_fullest(slot)) return gone;
  // Log-ins of others have every slot. None has it for long, but new ones keep coming, so one of
  // them goes instead of the newcomer.
  slot.has_work = true;
  Slot* const other = unknown_.crowded_out();
  slot.has_work = false;
  return other;
}

ConnectionSlots::Slot* ConnectionSlots::become_known(Slot& slot) {
  if (slot.known || !slot.held) return nullptr;
  Slot* gone = nullptr;
  if (known_.slots.size() >= known_.most) {
    gone = known_.crowded_out();
    if (!gone || gone->has_work) return &slot;
  }
  const auto count = known_.networks.try_emplace(slot.network, 0).first;
  ++count->second;
  known_.slots.splice(known_.slots.end(), unknown_.slots, slot.position);
  if (--slot.count->second == 0) unknown_.networks.erase(slot.count);
  slot.count = count;
  slot.known = true;
  return gone;
}

void ConnectionSlots::leave(Slot& slot) noexcept {
  if (!std::exchange(slot.held, false)) return;
  Group& group = slot.known ? known_ : unknown_;
  group.slots.erase(slot.position);
  if (--slot.count->second == 0) group.networks.erase(slot.count);
}

}  // namespace broker::http
