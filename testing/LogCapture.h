#pragma once

#include <string>
#include <vector>

/**
 * The log lines written since its construction, each as "component: function() message" without the line
 * number. The test fails if one is not of priority ERROR or has not its component's tag.
 */
class LogCapture {
 public:
  LogCapture();

  /** The lines so far. */
  std::vector<std::string> texts() const;

  /** Waits for count lines, up to five seconds, and returns the lines so far. */
  std::vector<std::string> waitFor(std::size_t count) const;
};
