#include <ostream>

#include "ConfigOverrides.h"
#include "Favourites.h"
#include "demo/Steps.h"

namespace {

/** The rows with two of their members only. */
Rows columns(const Rows& rows, const char* first, const char* second) {
  Rows narrow = Rows::array();
  for (const Rows& row : rows) {
    narrow.push_back({{first, row[first]}, {second, row[second]}});
  }
  return narrow;
}

}  // namespace

StepResult demonstrateFavourites(DemoScene& scene) {
  const std::string text = "com.mail/com.chat/=com.game/com.chat/=com.mail/com.maps/";
  ConfigOverrides overrides;
  overrides.setText(kPreferredAppsKey, text);
  const auto [slots, favourites] = computeFavourites({{"com.mail", 41}, {"com.chat", 17}});
  scene.watched.favourites = slots;
  std::ostream& out = scene.console.out;
  out << "text       " << text << "\n\n";
  printTable(columns(slots, "app", "slot"), out);
  out << "\n";
  printTable(columns(favourites, "app", "launches"), out);
  return {std::to_string(slots.size()) + " time slots and " + std::to_string(favourites.size()) +
              " applications from one text",
          outcomeOf(slots.size() == 3 && favourites.size() == 4)};
}
