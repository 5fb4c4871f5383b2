#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

/** A comparison to print after the run: the medians of a figure of two benchmarks. */
struct Ratio {
  std::string ours;
  std::string other;
  std::string counter;  ///< name of a counter, or empty for the time per iteration
  std::string aim;      ///< what it should be, in words
};

/** Runs all benchmarks as the command line says, and prints the ratios as a Markdown table. */
int runBenchmarks(int argc, char** argv, const std::vector<Ratio>& ratios);

/** Gives the process mounts of its own; to be called before any thread starts. */
void setUpLookup();

/** Makes what the benchmarks of the vsync source need; to be called before any thread starts. */
void setUpVsync();

std::vector<Ratio> vsyncRatios();
std::vector<Ratio> gfxRatios();
std::vector<Ratio> lookupRatios();
std::vector<Ratio> controllerRatios();
std::vector<Ratio> databaseRatios();
std::vector<Ratio> statsRatios();
std::vector<Ratio> servicesRatios();
