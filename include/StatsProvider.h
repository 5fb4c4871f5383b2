#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "detail/LMAttributes.h"

struct nl_msg;
struct nlmsgerr;
struct sockaddr_nl;

/**
 * @file
 * StatsProvider, the records it fills, and the parser of the kernel's answers.
 */

/**
 * @class StatsProvider
 *
 * Figures of processes and of the system.
 *
 *     StatsProvider stats;
 *     SysStatsRecord memory = stats.getMemInfo();
 *     std::printf("%llu kB of swap\n", (unsigned long long)memory.slots[kSwapTotalSlot]);
 *     PidStatsRecord own = stats.getPIDStats(getpid());
 *
 * Most come from the kernel's generic-netlink family "SYSSTATS", as the kernel's own structures,
 * byte for byte. An object asks once, when it is made, which requests the family can answer.
 *
 * All operations may be called on any thread and at once: nothing is shared or kept. Each request
 * opens a netlink socket, blocks for the answer and closes the socket. There is no time-out: a
 * kernel that never answers blocks the caller.
 *
 * Nothing is thrown. Every failure is logged, with two exceptions: an operation that the family
 * cannot answer (its flag is false) sends and logs nothing, and sendRecvData() does not log that the
 * request could not be filled or sent. The other operations log whatever result it gives them.
 */

/** The kernel's statistics of one process, uninterpreted. */
struct PidStatsRecord {
  std::uint64_t slots[19];  ///< as the kernel fills them
};

/** The kernel's statistics of the system. This library knows three slots, each in kB. */
struct SysStatsRecord {
  std::uint64_t slots[36];  ///< as the kernel fills them
};
inline constexpr std::size_t kSwapUsedSlot = 4;     ///< swap in use
inline constexpr std::size_t kSwapTotalSlot = 5;    ///< all of the swap
inline constexpr std::size_t kVmallocUsedSlot = 7;  ///< vmalloc in use

/** What getMemInfo() gives for a figure that is not known. */
inline constexpr std::uint64_t kUnknownFigure = ~std::uint64_t{0};

/** The kernel's entry of one process that bears a name, uninterpreted. */
struct sysstats_pid {
  std::uint8_t bytes[8];  ///< as the kernel fills them
};

static_assert(sizeof(PidStatsRecord) == 152);
static_assert(sizeof(SysStatsRecord) == 288);
static_assert(kSwapUsedSlot * 8 == 32 && kSwapTotalSlot * 8 == 40 && kVmallocUsedSlot * 8 == 56);
static_assert(sizeof(sysstats_pid) == 8);

class LM_API StatsProvider {
 public:
  /** Asks the kernel four times whether it has the family, and which version. */
  StatsProvider();
  ~StatsProvider();

  /**
   * Whether the family exists in at least this version. False after any failure.
   *
   * Note: of the family's version only the low byte counts; 256 is taken for 0.
   */
  bool isApiSupported(int version);

  /**
   * Asks for the statistics of one process. The record is all zero when the family cannot be asked or
   * did not answer.
   *
   * Note: an answer that is too short is logged; the record holds what arrived, then zeros.
   */
  PidStatsRecord getPIDStats(int pid);

  /**
   * Asks for the statistics of the system. The record is all zero when the family cannot be asked or
   * did not answer; the note at getPIDStats() holds here, too.
   */
  SysStatsRecord getSysStats();

  /**
   * Asks for the statistics of all processes in a range of PIDs. Returns none when the family cannot
   * be asked, and after a failure those that arrived before it.
   *
   * Note: only the low 16 bits of each bound reach the kernel: first in the low half of a word,
   * second in the high half.
   */
  std::vector<PidStatsRecord> getPIDStatsRange(int first, int second);

  /**
   * Appends the processes named processName to pids.
   *
   * @return 0; -1 without an entry in the log when the family cannot be asked; -1 with one after a
   *         failure, and what arrived before it has been appended
   */
  int getPIDsRange(const char* processName, std::vector<sysstats_pid>& pids);

  /**
   * Reads swap used, swap total and vmalloc used from /proc/meminfo. Each is kUnknownFigure when the
   * file does not tell it, or cannot be opened, which is logged. All other slots are zero. Needs no
   * netlink family.
   *
   * Note: a file with more free swap than total swap aborts the process. Figures pass through an
   * int: from 2147483648 kB on they are wrong.
   */
  SysStatsRecord getMemInfo();

  /**
   * Sends one request and waits for its answer.
   *
   * @param type        0 one process, 1 the system, 2 a range of PIDs, 3 the processes of a name
   * @param value       the PID, or both bounds of a range in 16 bits each; types 0 to 2
   * @param processName type 3
   * @param parserArg   where the answer goes: a PidStatsRecord, a SysStatsRecord, a vector of
   *                    PidStatsRecord, a vector of sysstats_pid
   * @return 0; -1 for bad arguments or no socket; -2 when the family could not be reached, or no
   *         message made; -3 when the request could not be made or sent; -4 when no answer arrived,
   *         or an error
   *
   * Note: 0 also when a record of the answer was too short (logged). It is filled as far as it goes,
   * or left out of a vector, and what follows it is lost. Nor is it checked that the answer is of
   * the type that was asked for: the kernel is trusted with parserArg.
   */
  int sendRecvData(int type, int value, const char* processName, void* parserArg);

  /** What the family can be asked, as found at construction and not looked up again. @{ */
  bool supportsPidStats;
  bool supportsSysStats;
  bool supportsPidStatsRange;
  bool supportsPidsByName;
  /** @} */
};

static_assert(sizeof(StatsProvider) == 4);

/**
 * libnl callback for a message of an answer: puts its attributes where arg points, as
 * sendRecvData's parserArg. Returns NL_OK, or NL_STOP for a null argument and for a payload that is
 * too short. A longer one is cut off.
 *
 * Note: an attribute's type alone decides what it is written over: arg must fit.
 */
LM_API int stats_parser(nl_msg* msg, void* arg);

/** libnl callback for an error answer: logs it and returns NL_STOP. */
LM_API int stats_nl_error_callback(sockaddr_nl* address, nlmsgerr* error, void* arg);
