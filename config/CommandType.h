#pragma once

/** The first argument of CpPLHController::commandCp. */
enum CommandType : int { kFirstPreset, kSecondPreset, kAnyItem };
