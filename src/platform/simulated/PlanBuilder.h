#pragma once

#include <map>
#include <memory>

#include "platform/simulated/SimulatedGraph.h"

namespace sonmere {

// Turns the graph into one plan for each device's cycle. Used while no cycle runs: the plans share bridges,
// voices and units with the ones they replace.
class PlanBuilder {
 public:
  explicit PlanBuilder(SimulatedGraph& graph);

  // The plan of each device; null where the device has nothing to do.
  std::map<AudioDeviceID, std::unique_ptr<EndpointPlan>> build();

 private:
  using Plan = EndpointPlan;

  bool isActive(const SimulatedEndpoint& endpoint) const;
  bool hostsWork(const SimulatedDevice& device) const;
  std::shared_ptr<ClockBridge> bridge(SimulatedAggregate& aggregate, SimulatedAggregate::Lane lane,
                                      AudioDeviceID other, const ClockBridge::Shape& shape);
  void dropUnusedBridges();
  double trueRate(const SimulatedEndpoint& endpoint) const;

  std::unique_ptr<Plan> buildDevice(SimulatedDevice& device);
  std::unique_ptr<Plan> newPlan(SimulatedEndpoint& endpoint);
  // The steps that every kind of endpoint has, in signal order.
  void addPlayback(SimulatedEndpoint& endpoint, Plan& plan);
  void addInputClients(SimulatedEndpoint& endpoint, Plan& plan);

  void addPhysicalInput(SimulatedDevice& device, Plan& plan);
  void addHostedAggregate(SimulatedAggregate& aggregate, SimulatedDevice& host, Plan& hostPlan);
  void addAggregateInput(SimulatedAggregate& aggregate, SimulatedDevice& host, Plan& plan,
                         const Plan& hostPlan);
  void addAggregateOutput(SimulatedAggregate& aggregate, SimulatedDevice& host, Plan& plan, Plan& hostPlan);
  void addMemberOutput(SimulatedDevice& member, Plan& plan);
  void addMemberInput(SimulatedDevice& member, Plan& plan);

  struct Voice {
    const SimulatedProcess* process;
    const float* block;
  };
  std::vector<Voice> addVoices(SimulatedEndpoint& endpoint, Plan& plan);
  void addTaps(SimulatedEndpoint& endpoint, Plan& plan, const std::vector<Voice>& voices);
  // The stereo sum of the covered voices; null when the tap hears nothing of this endpoint.
  const float* addTapSum(const SimulatedAggregate& aggregate, Plan& plan, const std::vector<Voice>& voices);
  void addTapAggregate(SimulatedAggregate& aggregate, SimulatedEndpoint& clock, Plan& plan,
                       const float* direct);
  bool hearsEndpoint(const SimulatedAggregate& aggregate, const SimulatedEndpoint& endpoint) const;
  std::vector<std::shared_ptr<ClockBridge>> tapLanes(SimulatedAggregate& aggregate,
                                                     const SimulatedEndpoint& clock);
  const float* addTapMix(Plan& plan, const float* direct,
                         const std::vector<std::shared_ptr<ClockBridge>>& lanes);
  void addReblocking(SimulatedAggregate& aggregate, const SimulatedEndpoint& clock, Plan& plan,
                     const std::shared_ptr<Plan>& nested, const float* source);
  void addRenderers(SimulatedEndpoint& endpoint, Plan& plan);
  EndpointPlan::Step ioProcStep(const SimulatedIOProc& procedure, Plan& plan, float* target);
  void addRecorders(SimulatedEndpoint& endpoint, Plan& plan, bool isInput);

  SimulatedGraph& graph_;
  const SimulatedProcess* own_ = nullptr;
  bool ownIsTapped_ = false;  // some tap takes this program's own sound
  bool ownIsSilenced_ = false;
  std::map<std::pair<SimulatedAggregate*, std::pair<SimulatedAggregate::Lane, AudioDeviceID>>, bool> used_;
};

}  // namespace sonmere
