#include "testing/Folders.h"

#include <dirent.h>
#include <ftw.h>
#include <sys/stat.h>

#include <cstdio>

void makeFolders(const std::string& path) {
  for (std::size_t end = 0; end != std::string::npos;) {
    end = path.find('/', end + 1);
    mkdir(path.substr(0, end).c_str(), 0777);
  }
}

void removeFolder(const std::string& path) {
  const auto removeEach = [](const char* name, const struct stat*, int, FTW*) {
    return std::remove(name);
  };
  nftw(path.c_str(), removeEach, 16, FTW_DEPTH | FTW_PHYS | FTW_MOUNT);
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  DIR* const directory = opendir(folder.c_str());
  if (directory == nullptr) {
    return names;
  }
  while (const dirent* const entry = readdir(directory)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") {
      names.push_back(name);
    }
  }
  closedir(directory);
  return names;
}
