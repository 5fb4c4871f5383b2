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

/** What one of these commands was given; each uses some of it. */
struct QueryOptions {
  std::string name{};                ///< of a process or service
  std::vector<std::string> names{};  ///< of services
  int number = 0;                    ///< of a process or item
  int first = 0;                     ///< of a range of processes
  int last = 0;
  std::string text{};  ///< for a node
  bool once = false;   ///< one scan for a process instead of up to five, 200 ms apart
  bool json = false;
};

/** Reports which services work here, and what others lack. Fails when one that is named does not. */
int examine(const QueryOptions& options, Console& console);

/** Prints the identifier of a foreground process. */
int lookUpProcess(const QueryOptions& options, Console& console);

/** Ask the kernel's statistics family. @{ */
int statsPid(const QueryOptions& options, Console& console);
int statsSys(const QueryOptions& options, Console& console);
int statsRange(const QueryOptions& options, Console& console);
int statsName(const QueryOptions& options, Console& console);
/** @} */

/** Prints swap and vmalloc figures, which need no netlink family. */
int showMemory(const QueryOptions& options, Console& console);

/** Ask the platform's service tracker. @{ */
int servicesClients(const QueryOptions& options, Console& console);
int servicesPids(const QueryOptions& options, Console& console);
int servicesActive(const QueryOptions& options, Console& console);
/** @} */

/** Writes the text to the item's node, which must exist, and prints what the node holds then. */
int writeNode(const QueryOptions& options, Console& console);

/** A provider that does not log what the kernel cannot be asked. */
StatsProvider probeQuietly();

/** The slots with a known meaning, by their names; null for a figure that is not known. */
nlohmann::ordered_json memoryFigures(const SysStatsRecord& record);

/** All slots: each one's number or name, and its value. */
nlohmann::ordered_json systemSlots(const SysStatsRecord& record);

/** The version and the files of the library and of the core library that are loaded. */
std::string versionText();
