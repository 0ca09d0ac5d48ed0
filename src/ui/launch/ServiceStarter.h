#pragma once

#include <QProcess>
#include <QTemporaryDir>
#include <filesystem>
#include <memory>

namespace sonmere {

// The service that the window talks to: the user's own, which outlives the window, or a demonstration in a
// folder of its own, which ends with it.
class ServiceStarter {
 public:
  explicit ServiceStarter(bool demo);
  ~ServiceStarter();

  bool isDemo() const { return demo_; }
  // Where its socket is, once it runs.
  std::filesystem::path folder() const;
  // Starts the program that lies beside this one. A user's service that runs already stays the only one: it
  // holds a lock. False where there is no such program.
  bool start();
  // The demonstration's service ends; the user's is left alone.
  void stop();

 private:
  void startDemo(const QString& program);

  const bool demo_;
  QTemporaryDir demoFolder_;
  QProcess process_;
};

}  // namespace sonmere
