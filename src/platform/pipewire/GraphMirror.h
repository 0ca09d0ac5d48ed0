#pragma once

#include <map>
#include <memory>
#include <set>

#include "platform/pipewire/GraphObserver.h"
#include "platform/pipewire/MetadataMirror.h"

struct pw_core;
struct pw_registry;

namespace sonmere {

// What the server has told of its objects so far. Binds nodes, cards, clients and links as soon as they are
// announced, for most of their properties and states come only then. Guarded by the loop's lock.
class GraphMirror {
 public:
  explicit GraphMirror(GraphObserver& observer);
  ~GraphMirror();

  // Begins to follow the server behind a fresh connection.
  void attach(pw_core* core);
  // Forgets everything, telling nobody: the connection has gone.
  void detach();

  const std::map<GlobalID, GraphNode>& nodes() const { return nodes_; }
  const std::map<GlobalID, GraphClient>& clients() const { return clients_; }
  const std::map<GlobalID, GraphPort>& ports() const { return ports_; }
  const std::map<GlobalID, GraphLink>& links() const { return links_; }
  const GraphNode* node(GlobalID id) const;
  const GraphClient* client(GlobalID id) const;
  // The card that a device's node belongs to, and the way that its sound goes there; null: none that is told.
  const GraphCard* cardOf(const GraphNode& node) const;
  const GraphRoute* routeOf(const GraphNode& node, bool isOutput) const;
  // Whether all links that lead from this node are active, and there is one.
  bool isHeard(GlobalID node) const;
  // Binds the session's table anew, the next one where there are several.
  void askForDefaults();
  // Asks the server to take an object down, one of this program's own.
  void destroy(GlobalID id);
  // One linear volume for all channels of a device's side. False: it has none, or has gone.
  bool setVolume(GlobalID node, float volume);

  // The session's defaults and the targets of streams; the server's settings.
  MetadataMirror& defaults() { return defaults_; }
  const MetadataMirror& defaults() const { return defaults_; }
  MetadataMirror& settings() { return settings_; }
  const MetadataMirror& settings() const { return settings_; }

 private:
  struct Binding;
  struct Hooks;
  void added(GlobalID id, std::string_view type, const AppProperties& properties);
  void removed(GlobalID id);
  void addNode(GlobalID id, const AppProperties& properties);
  void addCard(GlobalID id, const AppProperties& properties);
  void addClient(GlobalID id, const AppProperties& properties);
  void addPort(GlobalID id, const AppProperties& properties);
  void addLink(GlobalID id, const AppProperties& properties);
  void addMetadata(GlobalID id, const AppProperties& properties);
  void removeMetadata(GlobalID id);

  GraphObserver& observer_;
  pw_registry* registry_ = nullptr;
  std::unique_ptr<Hooks> hooks_;
  std::map<GlobalID, std::unique_ptr<Binding>> bindings_;
  std::map<GlobalID, GraphNode> nodes_;
  std::map<GlobalID, GraphCard> cards_;
  std::map<GlobalID, GraphClient> clients_;
  std::map<GlobalID, GraphPort> ports_;
  std::map<GlobalID, GraphLink> links_;
  std::set<GlobalID> defaultsTables_;  // all of that name
  MetadataMirror defaults_;
  MetadataMirror settings_;
};

}  // namespace sonmere
