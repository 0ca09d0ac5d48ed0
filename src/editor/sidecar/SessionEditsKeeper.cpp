#include "editor/sidecar/SessionEditsKeeper.h"

namespace sonmere {

namespace {
// A disk that takes longer than this must not hold up the closing of a window.
constexpr Duration kFlushWait = std::chrono::seconds(2);
}  // namespace

SessionEditsKeeper::SessionEditsKeeper(Runtime& runtime, Log& log, std::string folder,
                                       std::function<PersistedSessionEdits()> document)
    : runtime_(runtime), sidecar_(log), folder_(std::move(folder)), document_(std::move(document)) {}

SessionEditsKeeper::~SessionEditsKeeper() { flush(); }

void SessionEditsKeeper::changed() {
  sidecarWriteTimer_ = runtime_.mainQueue().postAfter(kWriteDelay, [this] { write(); });
}

void SessionEditsKeeper::flush() {
  if (sidecarWriteTimer_) write();
  runtime_.waitUntil([writes = writes_] { return writes->load() == 0; }, kFlushWait);
}

void SessionEditsKeeper::write() {
  sidecarWriteTimer_.cancel();
  if (!queue_) queue_ = runtime_.serialQueue("sonmere.editor.sidecar");
  writes_->fetch_add(1);
  queue_->post([sidecar = sidecar_, folder = folder_, edits = document_(), writes = writes_] {
    sidecar.save(edits, folder);
    writes->fetch_sub(1);
  });
}

}  // namespace sonmere
