#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "detail/LMAttributes.h"

/**
 * Writes texts to kernel nodes that the framework configures by item number: initial settings once,
 * and two preset commands or any other item on request.
 */
class LM_API CpPLHController {
 public:
  /** The first argument of commandCp(): one of the presets, or the item given. */
  enum CommandType : int { kFirstPreset, kSecondPreset, kAnyItem };

  /** An item number and the text for its node. */
  using Command = std::pair<int, std::string>;

  /**
   * Copies its arguments, then calls initHook if there is one, and otherwise init(initial). Blocks
   * as long as the nodes' drivers do. Passes on what the hook throws, and std::bad_alloc of
   * the copies.
   *
   * @param initial  settings to write once
   * @param first    the preset of kFirstPreset, with its default value
   * @param second   the preset of kSecondPreset, with its default value
   * @param name     kept, without a meaning here
   * @param initHook called instead of init; its result is ignored. May be null
   */
  CpPLHController(std::vector<Command>& initial, Command& first, Command& second, std::string name,
                  void* (*initHook)());

  /**
   * Writes each setting to its item's node, in order. An unknown item ends it and disables the
   * controller for good, as does an empty list. Without a framework store each setting is only
   * logged. A lack of memory is logged and ends it, too, but disables nothing. Called by the
   * constructor; not to be called concurrently with commandCp.
   */
  void init(std::vector<Command>& initial);

  /**
   * Writes one command, with the item's path looked up afresh. Commands of several threads are
   * applied one at a time: takes the controller's lock and blocks as long as the node's driver does.
   *
   * @param type  a CommandType
   * @param value for a preset, empty means its default; for kAnyItem, written as it is
   * @param item  used by kAnyItem only
   * @return 1 when a write was attempted, even if it failed (logged when the node cannot be opened);
   *         0 when the controller is disabled, the type or item is unknown, there is no store or,
   *         with an ERROR log, memory is short
   */
  int commandCp(int type, std::string value, int item);

  /**
   * Writes value, without a newline, to the file at path, which is created or truncated.
   *
   * @return 0, also when the write itself fails; -1 when path is null or, with an ERROR log, cannot
   *         be opened
   */
  static int updateSysNodes(char* path, std::string& value);

 private:
  bool mEnabled = true;  ///< cleared by init, for good
  std::string mName;
  Command mSecondCmd;
  Command mFirstCmd;
  std::mutex mCmdLock;  ///< held for the whole of a command
};

/** Arithmetic without overflow. */
class LM_API LMOps {
 public:
  /**
   * a - b, or 0 when that does not fit an int.
   *
   * Note: such a 0 looks like the difference of equal numbers.
   */
  static int Subtract(int a, int b);
};
