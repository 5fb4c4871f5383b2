#pragma once

#include <gtest/gtest.h>
#include <sys/mount.h>

#include "demo/PrivateProcess.h"

/** Gives the process mounts of its own, as root or, while it has one thread, as anybody. */
inline void makeMountsPrivate() { ASSERT_TRUE(unshareMounts()); }
