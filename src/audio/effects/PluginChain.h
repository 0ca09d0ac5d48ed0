#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "audio/effects/ChainContext.h"
#include "audio/effects/ChainPlace.h"
#include "audio/effects/ChainRun.h"
#include "audio/effects/PluginChainStore.h"
#include "base/Lifetime.h"

namespace sonmere {

// The chain of one scope: what the user wants of it, which is kept whatever happens, and what sounds of it.
// It sounds while it has a place. Positions count from 0; one that is none is refused with false. Main
// thread.
class PluginChain {
 public:
  struct Plugin {
    int key = 0;
    PluginChainStore::Entry entry;
    std::optional<EffectDetails> details;  // once they were looked up
    std::string problem;                   // why it does not sound; empty when nothing is wrong
    bool isFaulty = false;                 // it took its process down too often: left out until it is changed
    int latencyFrames = 0;
    bool autoBypassed = false;
    EffectValues values;  // as they are; empty while it does not run
  };
  enum class State { idle, starting, running, bypassed };

  PluginChain(ChainContext& context, PluginScope scope);
  ~PluginChain();
  PluginChain(const PluginChain&) = delete;
  PluginChain& operator=(const PluginChain&) = delete;

  const PluginScope& scope() const { return scope_; }
  const std::vector<Plugin>& plugins() const { return plugins_; }
  bool isTrusted() const { return isTrusted_; }
  // `bypassed`: the chain as a whole, because it failed too often.
  State state() const { return state_; }
  // Of the sounding plug-ins and the way to them, in frames.
  int latencyFrames() const;
  double sampleRate() const { return place_ ? place_->sampleRate : 0; }

  // Where the chain sounds now; nothing for nowhere.
  void setPlace(std::optional<ChainPlace> place);

  // Changes by the user. Each is saved at once, and gives a chain that had failed another try.
  bool insert(std::size_t position, PluginChainStore::Entry entry);
  bool remove(std::size_t position);
  bool move(std::size_t from, std::size_t to);
  bool setBypassed(std::size_t position, bool bypassed);
  bool setControl(std::size_t position, const std::string& symbol, float value);
  // In the place of the state it has.
  bool setFullState(std::size_t position, std::string state);
  void setTrusted(bool trusted);
  void replace(std::vector<PluginChainStore::Entry> entries);

  // The chain with its states of now; of those that can't be asked, as they were last known.
  using Collected = std::function<void(std::vector<PluginChainStore::Entry>)>;
  void collect(Collected done);

 private:
  // As often as this in that time a process is started again.
  static constexpr std::size_t kMostRestarts = 3;
  static constexpr Duration kRestartWindow = std::chrono::seconds(60);
  static constexpr Duration kSaveDelay = std::chrono::seconds(1);
  static constexpr Duration kLookInterval = fromMilliseconds(250);

  void add(std::size_t position, PluginChainStore::Entry entry);
  Plugin* find(int key);
  std::string nameOf(int key) const;
  void edited();
  void save();
  void saveStatesSoon();
  void keep(const ChainHelper::States& states);

  void rebuild();
  void prepare(std::size_t position, int build);
  void apply(int build);
  Outcome<std::unique_ptr<ChainRun>> makeRun();
  ChainPlan plan() const;
  void planned(const Outcome<ChainReport>& report);
  void take(const ChainReport& report);
  void publish();
  void silence();
  void noteRate() const;
  void failed(const std::string& reason, int culprit);
  void look();
  void setState(State state);

  ChainContext& context_;
  const PluginScope scope_;
  std::vector<Plugin> plugins_;
  bool isTrusted_ = false;
  int nextKey_ = 1;

  std::optional<ChainPlace> place_;
  State state_ = State::idle;
  int build_ = 0;  // names the build under way; what an older one brings is passed over
  std::unique_ptr<ChainRun> run_;
  bool runIsTrusted_ = false;
  double runRate_ = 0;  // of the last plan
  bool isOverrunTold_ = false;
  std::shared_ptr<const PluginChainSnapshot> published_;
  std::deque<Duration> restarts_;
  ScopedTask saving_;
  ScopedTask looking_;
  // The place sounded before the chain did.
  bool isSoundBefore_ = false;
  Lifetime lifetime_;
};

}  // namespace sonmere
