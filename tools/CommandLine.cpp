#include "CommandLine.h"

#include <stdexcept>

#include "ConfigOverrides.h"
#include "Texts.h"

void addJson(CLI::App& command, bool& json, const std::string& what) {
  command.add_flag("--json", json, "Print JSON instead: " + what);
}

void addNodeOption(CLI::App& command, const char* name, std::string& path,
                   const char* description) {
  command.add_option(name, path, description)
      ->type_name("PATH")
      ->check(CLI::Validator(nodePathProblem, "", ""));
}

CLI::Validator notEmpty() {
  return {[](const std::string& text) { return text.empty() ? "the name is empty" : ""; }, ""};
}

CLI::Validator seconds(int most) {
  return {[most](const std::string& text) { return secondsProblem(text, most); }, ""};
}

CLI::Validator wholeNumber(std::int64_t low, std::int64_t high) {
  const auto normalize = [low, high](std::string& text) {
    std::string problem = wholeNumberProblem(text, low, high);
    if (problem.empty()) {
      text = std::to_string(std::stoll(text));
    }
    return problem;
  };
  return {normalize, ""};
}

void requireNode(const std::string& node, const std::string& problem, const char* option) {
  if (!problem.empty()) {
    throw std::runtime_error("no " + node + " node: " + problem + "; name one with " + option +
                             " PATH");
  }
}
