// The program around the engine: the interpreter state with its user and rights, the host
// settings and the function library loaded as a plug-in.
#pragma once

#include <vkl/interp.h>

#include <string>
#include <vector>

namespace vkl::lang {

struct HostOptions {
  std::string user;            // empty: the operating-system user
  unsigned denied_rights = 0;  // VKL_RIGHT_* taken away
  std::string config;          // empty: $VKL_CONFIG, else vkl.ini beside the program
  std::string plugin;          // empty: libvklcplugin.so beside the program
  std::vector<std::string> modules;  // extension modules the host loads before the library
};

class Host {
 public:
  Host() = default;
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // Makes the state, loads the settings and the library and runs its PKG_Init. False with a
  // message when something named on the command line cannot be used.
  bool start(const HostOptions& options, std::string* error);
  VKL_State* state() const { return L_; }
  // The library's description of a function: 1 found, 0 not described, -1 no describer.
  int describe(const char* name, const char** signature, const char** summary) const;

 private:
  VKL_State* L_ = nullptr;
  void* plugin_ = nullptr;
};

}  // namespace vkl::lang
