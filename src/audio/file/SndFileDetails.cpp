#include "audio/file/SndFileDetails.h"

#include <algorithm>

namespace sonmere {

namespace {

AudioFileDetails pcm(int bits, bool isFloat = false) { return {"PCM", bits, isFloat, {}}; }

AudioFileDetails layoutOf(int format) {
  const int subtype = format & SF_FORMAT_SUBMASK;
  const bool isFLAC = (format & SF_FORMAT_TYPEMASK) == SF_FORMAT_FLAC;
  AudioFileDetails details;
  switch (subtype) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
      details = pcm(8);
      break;
    case SF_FORMAT_PCM_16:
      details = pcm(16);
      break;
    case SF_FORMAT_PCM_24:
      details = pcm(24);
      break;
    case SF_FORMAT_PCM_32:
      details = pcm(32);
      break;
    case SF_FORMAT_FLOAT:
      return pcm(32, true);
    case SF_FORMAT_DOUBLE:
      return pcm(64, true);
    case SF_FORMAT_ALAC_16:
      return {"ALAC", 16, false, {}};
    case SF_FORMAT_ALAC_20:
      return {"ALAC", 20, false, {}};
    case SF_FORMAT_ALAC_24:
      return {"ALAC", 24, false, {}};
    case SF_FORMAT_ALAC_32:
      return {"ALAC", 32, false, {}};
    case SF_FORMAT_VORBIS:
      return {"Vorbis", 0, false, {}};
    case SF_FORMAT_OPUS:
      return {"Opus", 0, false, {}};
    case SF_FORMAT_MPEG_LAYER_I:
      return {"MPEG audio layer I", 0, false, {}};
    case SF_FORMAT_MPEG_LAYER_II:
      return {"MPEG audio layer II", 0, false, {}};
    case SF_FORMAT_MPEG_LAYER_III:
      return {"MP3", 0, false, {}};
    case SF_FORMAT_ULAW:
      return {"µ-law", 0, false, {}};
    case SF_FORMAT_ALAW:
      return {"A-law", 0, false, {}};
    case SF_FORMAT_IMA_ADPCM:
    case SF_FORMAT_MS_ADPCM:
      return {"ADPCM", 0, false, {}};
    case SF_FORMAT_GSM610:
      return {"GSM 6.10", 0, false, {}};
    default:
      break;
  }
  if (isFLAC) details.codec = "FLAC";
  return details;
}

// As many as the library hands out at once.
using Cues = SF_CUES_VAR(1024);

std::vector<AudioFileMark> marksOf(SNDFILE* sound) {
  const auto cues = std::make_unique<Cues>();
  if (sf_command(sound, SFC_GET_CUE, cues.get(), int(sizeof(Cues))) != SF_TRUE) return {};
  std::vector<AudioFileMark> marks;
  for (std::uint32_t i = 0; i < std::min<std::uint32_t>(cues->cue_count, 1024); ++i) {
    const auto& cue = cues->cue_points[i];
    const std::string_view name(cue.name, sizeof cue.name);
    marks.push_back({std::int64_t(cue.sample_offset), std::string(name.substr(0, name.find('\0')))});
  }
  std::ranges::stable_sort(marks, {}, &AudioFileMark::frame);
  return marks;
}

}  // namespace

AudioFileDetails sndFileDetails(SNDFILE* sound, int format) {
  AudioFileDetails details = layoutOf(format);
  for (const auto& [name, key] : {std::pair{"title", SF_STR_TITLE},
                                  {"artist", SF_STR_ARTIST},
                                  {"album", SF_STR_ALBUM},
                                  {"track", SF_STR_TRACKNUMBER},
                                  {"date", SF_STR_DATE},
                                  {"genre", SF_STR_GENRE},
                                  {"comment", SF_STR_COMMENT},
                                  {"copyright", SF_STR_COPYRIGHT},
                                  {"software", SF_STR_SOFTWARE}})
    if (const char* text = sf_get_string(sound, key); text && *text) details.tags.emplace_back(name, text);
  details.marks = marksOf(sound);
  return details;
}

}  // namespace sonmere
