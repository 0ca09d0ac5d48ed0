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

-- Streams that the session manager is about to link: seen here before it gets to them, however busy it is.
coming = ObjectManager {
  Interest {
    type = "SiLinkable",
    Constraint { "item.factory.name", "=", "si-audio-adapter" },
    Constraint { "item.node.type", "=", "stream" },
    Constraint { "item.node.direction", "=", "output" },
    Constraint { "active-features", "=", 0, type = "gobject" },
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

-- What is set in the table comes back from the server before it counts here, and on a busy machine the stream
-- is linked by then. The session manager links nothing while an item is not active yet: one that never
-- becomes so holds it up until the target is known.
holds = {}
local longest_hold = 500 -- ms

function hold(stream, id)
  local item = SessionItem("si-node")
  if item:configure({ ["item.node"] = stream }) then
    item:register()
    holds[id] = item
  end
end

function release(id)
  if not holds[id] then
    return false
  end
  holds[id]:remove()
  holds[id] = nil
  -- It looks again at what it has left out when this changes; the other key goes before it.
  local targets = tables:lookup()
  if targets then
    targets:set(id, "target.node", "Spa:Id", "-1")
    targets:set(id, "target.node", nil, nil)
  end
  return true
end

-- Sonmere's own, the session's plumbing, and what must not be moved are linked as ever.
function may_wait(properties)
  return properties["sonmere.part"] == nil and properties["node.link-group"] == nil
      and tostring(properties["node.dont-reconnect"]) ~= "true"
      and tostring(properties["node.virtual"]) ~= "true"
      and tostring(properties["node.autoconnect"]) ~= "false"
end

-- Whether the target is one that Sonmere has set just now, and not one of an earlier stream of that number.
function is_placed(targets, id)
  local target = targets:find(id, "target.object")
  return target and parts:lookup { Constraint { "object.serial", "=", target, type = "pw" } }
end

function ask(stream)
  local room, targets = rooms:lookup(), tables:lookup()
  if not room or not targets or not may_wait(stream.properties) then
    return
  end
  local id, serial = stream["bound-id"], room.properties["object.serial"]
  local asked_for = stream.properties["object.serial"]
  if asked[id] == asked_for then
    return
  end
  asked[id] = asked_for
  if is_placed(targets, id) then
    return
  end
  hold(stream, id)
  targets:set(id, "target.object", "Spa:Id", serial)
  local held = holds[id]
  Core.timeout_add(longest_hold, function()
    if held and holds[id] == held then
      release(id)
    end
    return false
  end)
  -- Holds no object: one that has gone meanwhile must not be touched. The number may be another stream's then.
  Core.timeout_add(longest_wait, function()
    local present = tables:lookup()
    if asked[id] == asked_for and present and present:find(id, "target.object") == serial then
      present:set(id, "target.object", nil, nil)
    end
    return false
  end)
end

coming:connect("object-added", function(_, item)
  local stream = item:get_associated_proxy("node")
  if stream and stream.properties["media.class"] == "Stream/Output/Audio" then
    ask(stream)
  end
end)

streams:connect("object-added", function(_, stream)
  ask(stream)
end)

tables:connect("object-added", function(_, targets)
  -- From this Sonmere knows that it is told of every device.
  targets:set(0, "sonmere.script", "Spa:String", "1")
  targets:connect("changed", function(_, subject, key)
    if key == "target.object" then
      release(subject)
    end
  end)
end)

streams:connect("object-removed", function(_, stream)
  release(stream["bound-id"])
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
coming:activate()
devices:activate()
parts:activate()
