#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Lmctl.h"

struct LmctlResult {
  int status;
  std::string out, err;
};

/** Runs lmctl in this process with the words of a line. */
inline LmctlResult runLine(const std::string& line) {
  std::istringstream stream("lmctl " + line);
  const std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
  std::vector<const char*> argv;
  for (const std::string& word : words) {
    argv.push_back(word.c_str());
  }
  std::ostringstream out;
  std::ostringstream err;
  Console console{out, err, false};
  const int status = lmctl(static_cast<int>(argv.size()), argv.data(), console);
  return {status, out.str(), err.str()};
}

/** Runs lmctl as a shell does; returns its exit status and output. */
inline std::pair<int, std::string> run(const std::string& words) {
  FILE* const pipe = popen((LMCTL " " + words).c_str(), "r");
  std::string output;
  for (char text[256]; fgets(text, sizeof(text), pipe) != nullptr;) {
    output += text;
  }
  return {WEXITSTATUS(pclose(pipe)), output};
}

/** The names of an object's members; of an array, those of its first element. */
inline std::string memberNames(const std::string& json) {
  auto value = nlohmann::ordered_json::parse(json);
  while (value.is_array()) {
    value = nlohmann::ordered_json(value.at(0));
  }
  std::string names;
  for (const auto& [name, member] : value.items()) {
    names += (names.empty() ? "" : " ") + name;
  }
  return names;
}
