#include <ostream>

#include "ConfigOverrides.h"
#include "Rows.h"
#include "db/Favourites.h"
#include "demo/Steps.h"

StepResult demonstrateFavourites(DemoScene& scene) {
  const std::string text = "com.mail/com.chat/=com.game/com.chat/=com.mail/com.maps/";
  ConfigOverrides overrides;
  overrides.setText(kPreferredAppsKey, text);
  const FavouriteTables tables = computeFavourites({{"com.mail", 41}, {"com.chat", 17}});
  Rows slots = Rows::array();
  Rows record = Rows::array();
  for (const auto& [slot, apps] : tables.slots) {
    slots.push_back({{"slot", slot}, {"apps", apps}});
    record.push_back({{"app", slot}, {"slot", apps}});
  }
  Rows favourites = Rows::array();
  for (const auto& [app, launches] : tables.apps) {
    favourites.push_back({{"app", app}, {"launches", launches}});
  }
  scene.watched.favourites = record;
  std::ostream& out = scene.console.out;
  out << "text       " << text << "\n\n";
  printTable(slots, out);
  out << "\n";
  printTable(favourites, out);
  return {std::to_string(slots.size()) + " time slots and " + std::to_string(favourites.size()) +
              " applications from one text",
          outcomeOf(slots.size() == 3 && favourites.size() == 4)};
}
