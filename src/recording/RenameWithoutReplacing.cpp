#include "recording/RenameWithoutReplacing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace sonmere {

bool renameWithoutReplacing(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  // Some file systems can't refuse to replace by themselves. Then a look beforehand is all one can do.
  if (errno != EINVAL && errno != ENOSYS) return false;
  struct stat status {};
  if (::lstat(to.c_str(), &status) == 0) {
    errno = EEXIST;
    return false;
  }
  return ::rename(from.c_str(), to.c_str()) == 0;
}

}  // namespace sonmere
