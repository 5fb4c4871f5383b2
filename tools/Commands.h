#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "Console.h"
#include "StatsProvider.h"

/**
 * @file
 * Commands that ask one question and print the answer. Each returns an ExitStatus, and throws
 * std::runtime_error with the reason when there is no answer.
 */

struct LookupOptions {
  std::string name;
  bool once = false;  ///< one scan instead of up to five, 200 ms apart
  bool json = false;
};

/** Prints the identifier of a foreground process. */
int lookUpProcess(const LookupOptions& options, Console& console);

struct StatsOptions {
  int pid = 0;
  int first = 0;
  int last = 0;
  std::string name;
  bool json = false;
};

/** Ask the kernel's statistics family. @{ */
int statsPid(const StatsOptions& options, Console& console);
int statsSys(const StatsOptions& options, Console& console);
int statsRange(const StatsOptions& options, Console& console);
int statsName(const StatsOptions& options, Console& console);
/** @} */

/** Prints swap and vmalloc figures, which need no netlink family. */
int showMemory(const StatsOptions& options, Console& console);

/** A provider that does not log what the kernel cannot be asked. */
StatsProvider probeQuietly();

/** The slots with a known meaning, by their names; null for a figure that is not known. */
nlohmann::ordered_json memoryFigures(const SysStatsRecord& record);

/** All slots: each one's number or name, and its value. */
nlohmann::ordered_json systemSlots(const SysStatsRecord& record);

struct ServicesOptions {
  std::string name;
  std::vector<std::string> names;
  bool json = false;
};

/** Ask the platform's service tracker. @{ */
int servicesClients(const ServicesOptions& options, Console& console);
int servicesPids(const ServicesOptions& options, Console& console);
int servicesActive(const ServicesOptions& options, Console& console);
/** @} */

struct NodeOptions {
  int item = 0;
  std::string value;
  bool json = false;
};

/** Writes the value to the item's node, which must exist, and prints what the node holds then. */
int writeNode(const NodeOptions& options, Console& console);

struct DoctorOptions {
  std::vector<std::string> services;  ///< those that must work; all are only reported when empty
  bool json = false;
};

/** Reports which services can work here, and what others lack. Fails when one of options does not. */
int examine(const DoctorOptions& options, Console& console);

/** The version and the files of the library and of the core library that are loaded. */
std::string versionText();

/** The file of the core library: the object that defines DynamicLoader::getInstance. */
std::string coreLibraryFile();
