#pragma once

#include <string>

/** The library's version, and the files of the library and of the core library that are loaded. */
std::string versionText();

/** The file of the core library: the object that defines DynamicLoader::getInstance. */
std::string coreLibraryFile();
