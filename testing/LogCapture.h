#pragma once

#include <string>
#include <vector>

/**
 * The log lines written since it was made, each as "component: function() message" without the line
 * number, and checked to be an ERROR with its tag.
 */
class LogCapture {
 public:
  LogCapture();

  /** The lines so far. */
  std::vector<std::string> texts() const;

  /** The same, once there are count lines or five seconds have passed. */
  std::vector<std::string> waitFor(std::size_t count) const;
};
