// A plug-in loaded into the host: a shared library exporting QBFA_Initialize.
#ifndef HOST_PLUGIN_H_
#define HOST_PLUGIN_H_

#include <cstdint>
#include <memory>
#include <string>

class LoadedPlugin {
 public:
  // Loads the library at `path` and finds its entry point. Null, with `error`
  // saying why, when either fails.
  static std::unique_ptr<LoadedPlugin> Load(const std::string& path, std::string* error);

  LoadedPlugin(const LoadedPlugin&) = delete;
  LoadedPlugin& operator=(const LoadedPlugin&) = delete;
  // Unloads the library, which runs its unload work. Nothing may call into
  // the plug-in afterwards.
  ~LoadedPlugin();

  // Calls the entry point; main thread only. Returns its status.
  int32_t Initialize();

  const std::string& path() const { return path_; }

 private:
  using Entry = int32_t (*)();
  LoadedPlugin(std::string path, void* handle, Entry initialize)
      : path_(std::move(path)), handle_(handle), initialize_(initialize) {}

  std::string path_;
  void* handle_;
  Entry initialize_;
};

// The plug-in built with the project: libqbfa_plugin.so in ../lib/qbfa from
// the running executable, in the build tree and an installed tree alike.
std::string DefaultPluginPath();

#endif  // HOST_PLUGIN_H_
