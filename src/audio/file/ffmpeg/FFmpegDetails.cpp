#include "audio/file/ffmpeg/FFmpegDetails.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

#include <algorithm>
#include <array>
#include <string_view>

namespace sonmere {

namespace {

std::string codecName(AVCodecID codec) {
  const std::string name = avcodec_get_name(codec);
  if (name.starts_with("pcm_")) return "PCM";
  if (name == "aac" || name == "alac" || name == "mp3" || name == "flac" || name == "ac3") {
    std::string upper = name;
    std::ranges::transform(upper, upper.begin(),
                           [](char c) { return c >= 'a' && c <= 'z' ? char(c - 32) : c; });
    return upper;
  }
  return name;
}

bool isFloatPCM(AVCodecID codec) {
  constexpr std::array kFloats = {AV_CODEC_ID_PCM_F32LE, AV_CODEC_ID_PCM_F32BE, AV_CODEC_ID_PCM_F64LE,
                                  AV_CODEC_ID_PCM_F64BE};
  return std::ranges::find(kFloats, codec) != kFloats.end();
}

void addTags(AudioFileDetails& details, AVDictionary* tags) {
  constexpr std::array kShown = {"title", "artist", "album",   "track",
                                 "date",  "genre",  "comment", "copyright"};
  for (const char* name : kShown)
    if (const AVDictionaryEntry* found = av_dict_get(tags, name, nullptr, 0); found && *found->value)
      details.tags.emplace_back(name, found->value);
}

}  // namespace

AudioFileDetails ffmpegDetails(const AVFormatContext& file, const AVStream& stream) {
  const AVCodecParameters& coded = *stream.codecpar;
  AudioFileDetails details;
  details.codec = codecName(coded.codec_id);
  const int raw = coded.bits_per_raw_sample > 0 ? coded.bits_per_raw_sample
                                                : av_get_exact_bits_per_sample(coded.codec_id);
  const bool isExact = details.codec == "PCM" || details.codec == "ALAC" || details.codec == "FLAC";
  details.bits = isExact ? raw : 0;
  details.isFloat = isFloatPCM(coded.codec_id);
  addTags(details, file.metadata);
  if (details.tags.empty()) addTags(details, stream.metadata);
  return details;
}

}  // namespace sonmere
