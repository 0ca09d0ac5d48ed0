#include "platform/simulated/UnitRenderer.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/RealtimeScope.h"

namespace sonmere {

AudioStreamFormat UnitRenderer::clientFormatFor(const AudioStreamFormat& wanted,
                                                const AudioStreamFormat& device) {
  return wanted.sampleRate > 0 ? wanted : device;
}

void UnitRenderer::prepareOutput(std::uint32_t frames, const AudioStreamFormat& device) {
  const AudioStreamFormat client = clientFormatFor(settings.playFormat, device);
  if (output_.frames == frames && output_.deviceFormat == device && output_.clientFormat == client) return;
  const double sampleTime = output_.sampleTime;
  output_ = {frames, device, client, nullptr, {}, {}, frames, sampleTime};
  if (client.sampleRate != device.sampleRate) {
    const double ratio = client.sampleRate / device.sampleRate;
    // The first block also fills the filter, at most twice its length at any ratio allowed.
    output_.clientCapacity = std::uint32_t(std::ceil((frames + 256) * std::max(1.0, ratio))) + 64;
    output_.resampler = std::make_unique<SincResampler>(client.channels, ratio, output_.clientCapacity);
    output_.converted.resize(std::size_t(frames) * client.channels);
  }
  output_.clientBlock.resize(std::size_t(output_.clientCapacity) * client.channels);
}

void UnitRenderer::prepareInput(std::uint32_t frames, const AudioStreamFormat& device) {
  const AudioStreamFormat client = clientFormatFor(settings.captureFormat, device);
  if (input_.frames == frames && input_.deviceFormat == device && input_.clientFormat == client) return;
  const double sampleTime = input_.sampleTime;
  input_ = {frames, device, client, nullptr, {}, {}, frames, sampleTime};
  if (client.sampleRate != device.sampleRate) {
    const double ratio = device.sampleRate / client.sampleRate;
    input_.clientCapacity = std::uint32_t(std::ceil((frames + 256) / ratio)) + 64;
    input_.resampler = std::make_unique<SincResampler>(client.channels, ratio, frames);
    input_.converted.resize(std::size_t(frames) * client.channels);
  }
  input_.clientBlock.resize(std::size_t(input_.clientCapacity) * client.channels);
}

// Asks the client for frames; false leaves the block silent.
bool UnitRenderer::callClient(std::uint32_t frames, std::uint64_t hostTime) {
  float* block = output_.clientBlock.data();
  const std::size_t samples = std::size_t(frames) * output_.clientFormat.channels;
  std::fill(block, block + samples, 0.0f);
  if (!settings.renderCallback || frames > output_.clientCapacity || frames > maximumFrames()) return false;
  AudioBuffer buffer{output_.clientFormat.channels, std::uint32_t(samples * sizeof(float)), block};
  const AudioTimeStamp now{output_.sampleTime, hostTime};
  output_.sampleTime += frames;
  const RealtimeScope scope;
  const OSStatus status = settings.renderCallback(settings.renderRefcon, now, frames, {&buffer, 1});
  return status == noErr;
}

void UnitRenderer::renderOutput(float* mix, std::uint64_t hostTime) {
  if (!output_.resampler) {
    if (callClient(output_.frames, hostTime)) addMapped(output_.clientBlock.data(), mix);
    return;
  }
  const std::uint32_t needed = output_.resampler->inputNeeded(output_.frames);
  if (needed > output_.clientCapacity) return;
  if (!callClient(needed, hostTime))
    std::fill_n(output_.clientBlock.data(), std::size_t(needed) * output_.clientFormat.channels, 0.0f);
  output_.resampler->push(output_.clientBlock.data(), needed);
  output_.resampler->pull(output_.converted.data(), output_.frames);
  addMapped(output_.converted.data(), mix);
}

void UnitRenderer::addMapped(const float* client, float* mix) const {
  const std::uint32_t deviceChannels = output_.deviceFormat.channels;
  const std::uint32_t clientChannels = output_.clientFormat.channels;
  if (settings.channelMap.empty() && deviceChannels == clientChannels) {
    const std::size_t samples = std::size_t(output_.frames) * deviceChannels;
    for (std::size_t i = 0; i < samples; ++i) mix[i] += client[i];
    return;
  }
  for (std::uint32_t channel = 0; channel < deviceChannels; ++channel) {
    std::int32_t from = std::int32_t(channel);
    if (!settings.channelMap.empty())
      from = channel < settings.channelMap.size() ? settings.channelMap[channel] : -1;
    if (from < 0 || std::uint32_t(from) >= clientChannels) continue;
    for (std::uint32_t i = 0; i < output_.frames; ++i)
      mix[std::size_t(i) * deviceChannels + channel] += client[std::size_t(i) * clientChannels + from];
  }
}

void UnitRenderer::deliverInput(const float* input, std::uint64_t hostTime) {
  const std::uint32_t deviceChannels = input_.deviceFormat.channels;
  const std::uint32_t clientChannels = input_.clientFormat.channels;
  float* staged = input_.resampler ? input_.converted.data() : input_.clientBlock.data();
  if (deviceChannels == clientChannels) {
    std::memcpy(staged, input, std::size_t(input_.frames) * deviceChannels * sizeof(float));
  } else {
    for (std::uint32_t i = 0; i < input_.frames; ++i)
      for (std::uint32_t channel = 0; channel < clientChannels; ++channel)
        staged[std::size_t(i) * clientChannels + channel] =
            channel < deviceChannels ? input[std::size_t(i) * deviceChannels + channel] : 0.0f;
  }
  std::uint32_t frames = input_.frames;
  if (input_.resampler) {
    input_.resampler->push(staged, frames);
    frames = input_.resampler->pull(input_.clientBlock.data(), input_.clientCapacity);
  }
  if (frames == 0 || frames > maximumFrames() || !settings.inputCallback) return;
  fetchBlock_ = input_.clientBlock.data();
  fetchFrames_ = frames;
  const AudioTimeStamp now{input_.sampleTime, hostTime};
  input_.sampleTime += frames;
  const RealtimeScope scope;
  settings.inputCallback(settings.inputRefcon, now, 1, frames);
  fetchBlock_ = nullptr;
  fetchFrames_ = 0;
}

OSStatus UnitRenderer::fetch(std::uint32_t frames, AudioBufferList buffers) noexcept {
  if (!fetchBlock_ || frames > fetchFrames_) return kAudioUnitErrNoConnection;
  if (buffers.size() != 1 || buffers[0].channels != input_.clientFormat.channels)
    return kAudioUnitErrInvalidPropertyValue;
  const auto bytes = std::uint32_t(frames * buffers[0].channels * sizeof(float));
  if (!buffers[0].data || buffers[0].byteSize < bytes) return kAudioUnitErrInvalidPropertyValue;
  std::memcpy(buffers[0].data, fetchBlock_, bytes);
  buffers[0].byteSize = bytes;
  return noErr;
}

}  // namespace sonmere
