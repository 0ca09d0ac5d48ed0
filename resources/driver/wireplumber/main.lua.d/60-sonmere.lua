-- Copy with scripts/sonmere.lua, which it loads, to ~/.config/wireplumber/ and restart WirePlumber (0.4).
--
-- Sonmere moves programs' streams for a while. With this the session does not remember where a stream was
-- moved to; it would send other programs of the same role there, even after Sonmere has ended.
stream_defaults.properties["restore-target"] = false

-- New streams are linked where Sonmere wants them from their first frame on.
load_script("sonmere.lua")
