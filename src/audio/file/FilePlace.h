#pragma once

#include <string>

namespace sonmere {

// What has become of a file that is being written, as far as its name goes.
struct FilePlace {
  enum class Kind {
    there,  // under the name it was made with, or nobody can tell
    moved,  // under another one; it is still written to
    gone    // removed, replaced by another file, or in the trash: what is written to it is lost to the user
  };
  Kind kind = Kind::there;
  std::string path;  // where it is; for one that is gone, where it was made

  bool operator==(const FilePlace&) const = default;
};

}  // namespace sonmere
