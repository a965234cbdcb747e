#include "host/program_path.h"

#include <unistd.h>

#include <cstdlib>

std::string ProgramOnPath(std::string_view program) {
  const char* path = std::getenv("PATH");
  const std::string_view folders = path != nullptr ? path : "";
  for (size_t start = 0; start <= folders.size();) {
    size_t end = folders.find(':', start);
    if (end == std::string_view::npos)
      end = folders.size();
    std::string file(folders.substr(start, end - start));
    file.append("/").append(program);
    if (access(file.c_str(), X_OK) == 0)
      return file;
    start = end + 1;
  }
  return "";
}
