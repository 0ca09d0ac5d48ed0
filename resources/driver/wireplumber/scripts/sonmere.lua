-- Asks Sonmere about every new playback stream before it is linked: the stream goes to Sonmere's waiting
-- room, a device in which it stands still, and Sonmere sends it on. Loaded by main.lua.d/60-sonmere.lua.

-- Sonmere answers within milliseconds, or says within two seconds that it has nothing to say. Later than
-- that it hangs.
local longest_wait = 2500 -- ms

rooms = ObjectManager {
  Interest {
    type = "node",
    Constraint { "media.class", "=", "Audio/Sink", type = "pw-global" },
    Constraint { "sonmere.part", "+", type = "pw" },
  }
}

tables = ObjectManager {
  Interest {
    type = "metadata",
    Constraint { "metadata.name", "=", "default" },
  }
}

streams = ObjectManager {
  Interest {
    type = "node",
    Constraint { "media.class", "=", "Stream/Output/Audio", type = "pw-global" },
  }
}

-- Sonmere's hidden devices. A stream that is sent to one before it can be linked plays elsewhere until then,
-- so Sonmere is told when it can.
devices = ObjectManager {
  Interest {
    type = "SiLinkable",
    Constraint { "item.factory.name", "c", "si-audio-adapter", "si-node" },
    Constraint { "active-features", "!", 0, type = "gobject" },
  }
}

parts = ObjectManager {
  Interest {
    type = "node",
    Constraint { "media.class", "#", "Audio/Sink*", type = "pw-global" },
    Constraint { "sonmere.part", "+", type = "pw" },
  }
}

asked = {} -- serials of streams by their numbers, which are used again

-- Sonmere's own, the session's plumbing, and what must not be moved are linked as ever.
function may_wait(properties)
  return properties["sonmere.part"] == nil and properties["node.link-group"] == nil
      and tostring(properties["node.dont-reconnect"]) ~= "true"
      and tostring(properties["node.virtual"]) ~= "true"
      and tostring(properties["node.autoconnect"]) ~= "false"
end

streams:connect("object-added", function(_, stream)
  local room, targets = rooms:lookup(), tables:lookup()
  if not room or not targets or not may_wait(stream.properties) then
    return
  end
  local id, serial = stream["bound-id"], room.properties["object.serial"]
  local asked_for = stream.properties["object.serial"]
  asked[id] = asked_for
  targets:set(id, "target.object", "Spa:Id", serial)
  -- Holds no object: one that has gone meanwhile must not be touched. The number may be another stream's then.
  Core.timeout_add(longest_wait, function()
    local present = tables:lookup()
    if asked[id] == asked_for and present and present:find(id, "target.object") == serial then
      present:set(id, "target.object", nil, nil)
    end
    return false
  end)
end)

streams:connect("object-removed", function(_, stream)
  asked[stream["bound-id"]] = nil
end)

devices:connect("object-added", function(_, item)
  local node, targets = item:get_associated_proxy("node"), tables:lookup()
  if node and targets and node.properties["sonmere.part"]
      and string.find(node.properties["media.class"] or "", "^Audio/Sink") then
    targets:set(node["bound-id"], "sonmere.reachable", "Spa:Id", node.properties["object.serial"])
  end
end)

parts:connect("object-removed", function(_, node)
  local targets = tables:lookup()
  if targets then
    targets:set(node["bound-id"], "sonmere.reachable", nil, nil)
  end
end)

rooms:activate()
tables:activate()
streams:activate()
devices:activate()
parts:activate()
