#pragma once

#include <string>
#include <vector>

/**
 * The log lines written since its construction, each as "component: function() message" without the line
 * number. A test fails if a line is not of priority ERROR or has not its component's tag.
 */
class LogCapture {
 public:
  LogCapture();

  /** The lines so far. */
  std::vector<std::string> texts() const;
};
