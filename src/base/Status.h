#pragma once

#include <cstdint>
#include <expected>
#include <string>

namespace sonmere {

// Result code of a platform operation; 0 is success. Printed as a signed decimal in messages.
using OSStatus = std::int32_t;

constexpr OSStatus noErr = 0;

template <class T>
using Result = std::expected<T, OSStatus>;

// A four-letter code such as 'ispk', most significant character first.
constexpr std::uint32_t fourCharCode(const char (&text)[5]) {
  return (std::uint32_t(std::uint8_t(text[0])) << 24) | (std::uint32_t(std::uint8_t(text[1])) << 16) |
         (std::uint32_t(std::uint8_t(text[2])) << 8) | std::uint32_t(std::uint8_t(text[3]));
}

// Codes that the boundary's platforms answer with.
constexpr OSStatus kAudioHardwareNotRunningError = OSStatus(fourCharCode("stop"));
constexpr OSStatus kAudioHardwareUnspecifiedError = OSStatus(fourCharCode("what"));
constexpr OSStatus kAudioHardwareUnknownPropertyError = OSStatus(fourCharCode("who?"));
constexpr OSStatus kAudioHardwareBadObjectError = OSStatus(fourCharCode("!obj"));
constexpr OSStatus kAudioHardwareBadDeviceError = OSStatus(fourCharCode("!dev"));
constexpr OSStatus kAudioHardwareIllegalOperationError = OSStatus(fourCharCode("nope"));
constexpr OSStatus kAudioDeviceUnsupportedFormatError = OSStatus(fourCharCode("!dat"));
constexpr OSStatus kAudioDevicePermissionsError = OSStatus(fourCharCode("!hog"));
constexpr OSStatus kAudioUnitErrUninitialized = -10867;
constexpr OSStatus kAudioUnitErrInvalidPropertyValue = -10851;
constexpr OSStatus kAudioUnitErrFormatNotSupported = -10868;
constexpr OSStatus kAudioUnitErrNoConnection = -10876;

}  // namespace sonmere
