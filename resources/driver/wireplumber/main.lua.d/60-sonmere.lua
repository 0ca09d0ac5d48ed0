-- Sonmere moves programs' streams for a while. With this the session does not remember where a stream was
-- moved to; it would send other programs of the same role there, even after Sonmere has ended.
stream_defaults.properties["restore-target"] = false

-- With this, new streams are linked where Sonmere wants them from their first frame on; without it up to one
-- cycle of a sound that begins is heard as it is.
load_script("sonmere.lua")
