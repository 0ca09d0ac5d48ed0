#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "base/Time.h"
#include "platform/pipewire/PipeWireLoop.h"

struct pw_core;
struct spa_source;

namespace sonmere {

// The connection to the audio server: made at the start, made anew when the server has died, until it answers
// again. Guarded by the loop's lock; the callbacks run on the loop's thread.
class ServerConnection {
 public:
  // `remote` names the server's socket, or is its absolute path; empty: the user's default server.
  ServerConnection(PipeWireLoop& loop, std::string remote);
  ~ServerConnection();

  // A connection has been made; nothing has been received yet.
  std::function<void(pw_core* core)> connected;
  // The server has told all of its objects that were there at the start.
  std::function<void()> ready;
  // Whatever was made over the connection is to be destroyed now.
  std::function<void()> lost;

  // Tries to connect at once and goes on trying while nobody answers.
  void start();
  pw_core* core() const { return core_; }
  bool isReady() const { return core_ != nullptr && isReady_; }
  // Asks the server for a sign of life; `answered` runs on the loop's thread, never if the server has died.
  void ping(std::function<void()> answered);

  // Whether a server answers under that name within the timeout; why not, if not. Threads: any.
  static bool answers(const std::string& remote, Duration timeout, std::string& reason);

 private:
  struct Hooks;
  void connect();
  void disconnect();
  void scheduleRetry(Duration delay);
  void synced(int sequence);
  void failed(int status);

  PipeWireLoop& loop_;
  const std::string remote_;
  pw_core* core_ = nullptr;
  std::unique_ptr<Hooks> hooks_;
  spa_source* retryTimer_ = nullptr;
  int retries_ = 0;
  int syncsToReady_ = 0;
  int readySequence_ = 0;
  bool isReady_ = false;
  std::map<int, std::function<void()>> pings_;
};

}  // namespace sonmere
