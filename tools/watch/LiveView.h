#pragma once

#include <string>
#include <vector>

#include "Console.h"
#include "testing/EventRecorder.h"

/** How far back a live view looks, so that it costs the same after a second and after a day. */
inline constexpr auto kRecent = std::chrono::seconds(5);
inline constexpr std::size_t kRecentEvents = 1000;

/** What lines on a terminal show of a source. */
struct LiveView {
  const char* source;
  const char* noun;  ///< of one event
  EventRecorder::Latest latest;
  Unit unit;  ///< of its intervals
};

/**
 * Counts and rates; a bar, one column wide, for each of the latest intervals, the highest of which
 * stands for 1.75 medians and more; marks below those that are late; percentiles. Without a recent
 * interval only the first line.
 */
std::vector<std::string> liveLines(const LiveView& view, const Screen& screen);

/**
 * The longest beginning of text, which holds no escape sequences, that ends before a gap of three
 * spaces or at its end and takes at most columns. So no number is cut short; only what comes before
 * the first gap may be.
 */
std::string fitted(const std::string& text, std::size_t columns);

/**
 * A few lines at the end of a terminal's output that are redrawn in place. The cursor rests at the
 * beginning of the line below, where other output may follow after erase().
 */
class LiveBlock {
 public:
  explicit LiveBlock(const Console& console) : mConsole(console) {}

  /**
   * Draws lines, none wider than screen.width(), over those of the last call; those for which it has
   * no row are left out.
   */
  void draw(const std::vector<std::string>& lines, const Screen& screen);

  void erase();

 private:
  /**
   * What brings the cursor back to the first line. In a terminal that became narrower since, lines
   * were broken to take several rows.
   */
  std::string home(std::size_t columns) const;

  const Console& mConsole;
  std::vector<std::size_t> mWidths;  ///< of the lines that were drawn
};
