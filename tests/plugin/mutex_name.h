// A named mutex's system name whose shared-memory object is removed when the test ends.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "system/named_mutex.h"

namespace plugin_test {

class MutexName {
 public:
  explicit MutexName(std::string name) : name_(std::move(name)) {}
  ~MutexName() { shm_unlink(vkl::system::named_mutex_object_name(name_).c_str()); }
  MutexName(const MutexName&) = delete;
  MutexName& operator=(const MutexName&) = delete;

  const std::string& str() const { return name_; }
  bool exists() const {
    const int fd = shm_open(vkl::system::named_mutex_object_name(name_).c_str(), O_RDONLY, 0);
    if (fd >= 0) close(fd);
    return fd >= 0;
  }

 private:
  std::string name_;
};

}  // namespace plugin_test
