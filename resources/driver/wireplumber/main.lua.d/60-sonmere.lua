-- Copy to ~/.config/wireplumber/main.lua.d/ and restart WirePlumber (0.4).
--
-- Sonmere moves programs' streams for a while. With this the session does not remember where a stream was
-- moved to; it would send other programs of the same role there, even after Sonmere has ended.
stream_defaults.properties["restore-target"] = false
