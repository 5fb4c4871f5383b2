#pragma once

#include <string>
#include <vector>

/** Makes a folder and those above it that are missing. */
void makeFolders(const std::string& path);

/** Removes a folder and all that is in it. */
void removeFolder(const std::string& path);

/** The names in a folder, without "." and "..". */
std::vector<std::string> namesIn(const std::string& folder);
