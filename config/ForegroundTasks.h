#pragma once

/** The kernel's list of the foreground's tasks, where Android keeps it. */
inline constexpr char kForegroundTasks[] = "/dev/cpuset/top-app/tasks";
