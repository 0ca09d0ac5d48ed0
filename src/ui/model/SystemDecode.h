#pragma once

#include "control/DAWState.h"
#include "control/MixState.h"
#include "control/ProfileState.h"
#include "control/RuleState.h"
#include "control/SystemAudioState.h"
#include "ui/model/Decode.h"

namespace sonmere {

// The topics "system", "mix" and "daw". What is missing or of another form has its default.
SystemAudioState decodeSystemAudio(const TopicJSON& json);
MixState decodeMix(const TopicJSON& json);
DAWState decodeDAW(const TopicJSON& json);

// The rules of "rules", and the profiles of "routing". A rule of a kind that is not known here is left out.
std::vector<RuleState> decodeRuleStates(const TopicJSON& json);
std::vector<ProfileState> decodeProfiles(const TopicJSON& json);

}  // namespace sonmere
