#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "Console.h"
#include "demo/Demo.h"
#include "watch/Progress.h"
#include "watch/Trace.h"

/** What the steps of a demo share. */
struct DemoScene {
  const DemoOptions& options;
  Console& console;
  StopSignals& signals;
  TraceWriter& trace;
  nlohmann::ordered_json& record;  ///< for the report
};

enum class Outcome {
  kOk,
  kMissing,  ///< this machine does not have what the step would show
  kFailed
};

/** What a step did, in a few words, and how that went. */
struct StepResult {
  std::string done;
  Outcome outcome;
};

/** The outcome of something that should work everywhere. */
inline Outcome outcomeOf(bool worked) { return worked ? Outcome::kOk : Outcome::kFailed; }

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
