// A disk that is full: while the record lives, no file of this process grows beyond so many bytes.
#pragma once

#include <sys/resource.h>

#include <csignal>

namespace wk {

struct full_disk {
  struct rlimit before {};
  explicit full_disk(rlim_t max_bytes) {
    ::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &before);
    const struct rlimit limit { max_bytes, before.rlim_max };
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~full_disk() { ::setrlimit(RLIMIT_FSIZE, &before); }
  full_disk(const full_disk&) = delete;
  full_disk& operator=(const full_disk&) = delete;
};

}  // namespace wk
