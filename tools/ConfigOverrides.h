#pragma once

#include <string>

/**
 * @file
 * Values given on the command line, put in front of those of whichever core library is there, for the
 * whole process. Set them before the library looks them up: there is no lock.
 */

/** Sets the path of an item's node, at most kConfigValueSize - 1 bytes. */
void overrideNode(int item, const std::string& path);

/** Sets the text of a key. */
void overrideText(int key, const std::string& text);

/** Leaves everything to the core library again. */
void clearOverrides();
