#pragma once

#include <string>
#include <string_view>

namespace sonmere {

// What a text would tell strangers of its user, taken out of it: the home folder, names of user and machine,
// and whatever stands in folders of users' files. Threads: any but a render thread.
class Redaction {
 public:
  struct Known {
    std::string user, host, home;
  };
  explicit Redaction(Known known) : known_(std::move(known)) {}
  // Of this process's user and machine.
  static Redaction ofUser();

  std::string operator()(std::string text) const;

 private:
  const Known known_;
};

}  // namespace sonmere
