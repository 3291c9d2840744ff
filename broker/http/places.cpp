#include "broker/http/places.h"

#include <algorithm>
#include <utility>

namespace broker::http {

Places::Place* Places::Kind::crowded_out() {
  // The oldest of the fullest network, those without work first.
  Place* chosen = nullptr;
  const auto rank = [](const Place& place) {
    return std::pair(!place.has_work, place.count->second);
  };
  for (Place* const place : places)
    if (!chosen || rank(*place) > rank(*chosen)) chosen = place;
  return chosen;
}

bool Places::Kind::is_fullest(const Place& place) const {
  return std::all_of(networks.begin(), networks.end(),
                     [&](const auto& other) { return other.second <= place.count->second; });
}

Places::Place* Places::enter(Place& place) {
  const auto [count, added] = unknown_.networks.try_emplace(place.network, 0);
  try {
    place.position = unknown_.places.insert(unknown_.places.end(), &place);
  } catch (...) {
    if (added) unknown_.networks.erase(count);
    throw;
  }
  place.count = count;
  ++count->second;
  place.held = true;
  if (unknown_.places.size() <= unknown_.most) return nullptr;
  Place* const gone = unknown_.crowded_out();
  if (gone != &place || unknown_.is_fullest(place)) return gone;
  // Log-ins of others have every place. None has it for long, but new ones keep coming, so one of
  // them goes instead of the newcomer.
  place.has_work = true;
  Place* const other = unknown_.crowded_out();
  place.has_work = false;
  return other;
}

Places::Place* Places::become_known(Place& place) {
  if (place.known || !place.held) return nullptr;
  Place* gone = nullptr;
  if (known_.places.size() >= known_.most) {
    gone = known_.crowded_out();
    if (!gone || gone->has_work) return &place;
  }
  const auto count = known_.networks.try_emplace(place.network, 0).first;
  ++count->second;
  known_.places.splice(known_.places.end(), unknown_.places, place.position);
  if (--place.count->second == 0) unknown_.networks.erase(place.count);
  place.count = count;
  place.known = true;
  return gone;
}

void Places::leave(Place& place) noexcept {
  if (!std::exchange(place.held, false)) return;
  Kind& kind = place.known ? known_ : unknown_;
  kind.places.erase(place.position);
  if (--place.count->second == 0) kind.networks.erase(place.count);
}

}  // namespace broker::http
