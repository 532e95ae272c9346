-- Creates a session with one 32-channel track and records a few seconds from the dummy
-- backend's inputs on it, so that Ardour itself writes the take's sources, region and
-- playlist. Prints each channel's source file, in the region's channel order, as
-- "source N PATH".
-- Environment: VK_SESSION_DIR, VK_SESSION_NAME, VK_RATE, VK_RECORD_SECONDS.

local dir, name = os.getenv("VK_SESSION_DIR"), os.getenv("VK_SESSION_NAME")
local rate, seconds = tonumber(os.getenv("VK_RATE")), tonumber(os.getenv("VK_RECORD_SECONDS"))
assert(create_session(dir, name, rate), "cannot create the session " .. dir)
print("backend", AudioEngine:current_backend_name(), "block", Session:get_block_size())

local tracks = Session:new_audio_track(32, 2, nil, 1, "array", ARDOUR.PresentationInfo.max_order,
                                       ARDOUR.TrackMode.Normal, true)
assert(tracks:size() == 1, "no 32-channel track")
local track = tracks:front()
track:rec_enable_control():set_value(1, PBD.GroupControlDisposition.NoGroup)
Session:maybe_enable_record(false)
Session:request_roll(ARDOUR.TransportRequestSource.TRS_UI)
ARDOUR.LuaAPI.usleep(math.floor(seconds * 1000000))
Session:request_stop(false, false, ARDOUR.TransportRequestSource.TRS_UI)

-- The capture becomes a region once the butler has written it.
local playlist = track:playlist()
for _ = 1, 100 do
  if not Session:transport_rolling() and playlist:n_regions() > 0 then break end
  ARDOUR.LuaAPI.usleep(100000)
end
assert(playlist:n_regions() == 1, "the recording left no region")
track:rec_enable_control():set_value(0, PBD.GroupControlDisposition.NoGroup)
Session:save_state("", false, false, false, false, false)

for region in playlist:region_list():iter() do
  for n = 0, region:to_audioregion():n_channels() - 1 do
    print("source", n, region:source(n):to_filesource():path())
  end
end
close_session()
