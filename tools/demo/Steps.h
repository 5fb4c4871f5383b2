#pragma once

#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "Console.h"
#include "demo/Demo.h"
#include "watch/Progress.h"
#include "watch/Recording.h"

/** What the steps of a demo share. */
struct DemoScene {
  const DemoOptions& options;
  Console& console;
  StopSignals& signals;
  nlohmann::ordered_json& record;       ///< for the report
  std::vector<Recording> recordings{};  ///< for that and the trace
};

/** What a step did, in a few words, and whether it did what it should anywhere. */
struct StepResult {
  std::string done;
  bool worked;
};

/** Thrown by a step that would show what this machine does not have, in such words. */
struct Missing : std::runtime_error {
  using runtime_error::runtime_error;
};

/**
 * The steps, each of which prints what it shows. They throw std::system_error when they are refused a
 * namespace, and std::runtime_error when they cannot go on. In this order: the first three make
 * namespaces of their own, which the kernel allows anybody only while the process has one thread.
 */
StepResult demonstrateLookup(DemoScene& scene);
StepResult demonstrateThermal(DemoScene& scene);
StepResult demonstrateVsync(DemoScene& scene);
StepResult demonstrateFrames(DemoScene& scene);
StepResult demonstrateStats(DemoScene& scene);
StepResult demonstrateServices(DemoScene& scene);
StepResult demonstrateStore(DemoScene& scene);
StepResult demonstrateFavourites(DemoScene& scene);
StepResult demonstrateController(DemoScene& scene);
