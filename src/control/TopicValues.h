#pragma once

#include <nlohmann/json.hpp>

#include "control/Control.h"
#include "control/Topic.h"

namespace sonmere {

// Values of topics in messages: objects with their members in order of their names, and without nulls, so
// that a merge patch can say what changed.
using TopicJSON = nlohmann::json;

// What the topic is now. Facts are what the server and the disk say, wishes what the user asked for.
TopicJSON topicValue(Topic topic, Control& control);

// The merge patch (RFC 7396) that makes `to` of `from`.
TopicJSON mergePatch(const TopicJSON& from, const TopicJSON& to);

}  // namespace sonmere
