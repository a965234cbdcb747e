#include "host/plugin.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

namespace {

constexpr char kEntryPoint[] = "QBFA_Initialize";

std::string LastLoaderError() {
  const char* text = dlerror();
  return text != nullptr ? text : "unknown error";
}

}  // namespace

std::unique_ptr<LoadedPlugin> LoadedPlugin::Load(const std::string& path, std::string* error) {
  // Local binding: two plug-ins, or a plug-in and the host, never share a
  // symbol by accident.
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    *error = "cannot load " + path + ": " + LastLoaderError();
    return nullptr;
  }
  dlerror();
  auto initialize = reinterpret_cast<Entry>(dlsym(handle, kEntryPoint));
  if (initialize == nullptr) {
    *error = path + " has no " + kEntryPoint + ": " + LastLoaderError();
    dlclose(handle);
    return nullptr;
  }
  return std::unique_ptr<LoadedPlugin>(new LoadedPlugin(path, handle, initialize));
}

LoadedPlugin::~LoadedPlugin() {
  dlclose(handle_);
}

int32_t LoadedPlugin::Initialize() {
  return initialize_();
}

std::string DefaultPluginPath() {
  // One rule for an installed tree and the build tree: the plug-in sits at a
  // fixed place relative to the executable, so neither needs the other.
  std::error_code error;
  std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error)  // no /proc: the path still names what was looked for
    return QBFA_PLUGIN_FROM_EXECUTABLE;
  return (executable.parent_path() / QBFA_PLUGIN_FROM_EXECUTABLE).lexically_normal().string();
}
