-- Arranges a recorded session for the beamformer: the take's region moved behind a silent
-- lead-in with its fades off, the plug-in on the track with its controls set or ramped,
-- and the track's first outputs wired unpanned to the master bus's inputs, one beam each.
-- Environment: VK_SESSION_DIR, VK_SESSION_NAME, VK_PLUGIN_URI, VK_LEAD_IN (samples),
-- VK_MOVE_START and VK_MOVE_END (session samples), VK_BEAMS (how many beams reach the
-- master), VK_CONTROLS: "PORT:FROM:TO ..." with the plug-in's port indices; a control whose
-- two values differ is automated from FROM at VK_MOVE_START to TO at VK_MOVE_END.

local dir, name = os.getenv("VK_SESSION_DIR"), os.getenv("VK_SESSION_NAME")
local leadIn = tonumber(os.getenv("VK_LEAD_IN"))
local moveStart, moveEnd = tonumber(os.getenv("VK_MOVE_START")), tonumber(os.getenv("VK_MOVE_END"))
local beams = tonumber(os.getenv("VK_BEAMS"))
assert(load_session(dir, name), "cannot load the session " .. dir)

local track = Session:route_by_name("array")
assert(not track:isnil(), "no track named array")
local playlist = track:to_track():playlist()
assert(playlist:n_regions() == 1, "expected the take's one region")
local region
for r in playlist:region_list():iter() do region = r end
local audio = region:to_audioregion()
audio:set_fade_in_active(false)
audio:set_fade_out_active(false)
region:set_position(Temporal.timepos_t(leadIn))
Session:locations():session_range_location():set(Temporal.timepos_t(0),
                                                 Temporal.timepos_t(leadIn + region:length():samples()))

local plugin = ARDOUR.LuaAPI.new_plugin(Session, os.getenv("VK_PLUGIN_URI"), ARDOUR.PluginType.LV2, "")
assert(not plugin:isnil(), "the plug-in is not found (LV2_PATH?)")
assert(track:add_processor_by_index(plugin, 0, nil, true) == 0, "the plug-in does not fit on the track")

for port, from, to in os.getenv("VK_CONTROLS"):gmatch("(%d+):([-%d.]+):([-%d.]+)") do
  local control = plugin:to_automatable():automation_control(
      Evoral.Parameter(ARDOUR.AutomationType.PluginAutomation, 0, tonumber(port)), false)
  assert(not control:isnil(), "no control on port " .. port)
  from, to = tonumber(from), tonumber(to)
  control:set_value(from, PBD.GroupControlDisposition.NoGroup)
  if from ~= to then
    local list = control:alist()
    list:add(Temporal.timepos_t(moveStart), from, false, true)
    list:add(Temporal.timepos_t(moveEnd), to, false, true)
    control:set_automation_state(ARDOUR.AutoState.Play)
  end
end

-- Beam n on the track's output n, straight into the master's input n.
local master = Session:master_out()
assert(master:n_inputs():n_audio() >= beams, "the master bus has too few inputs")
track:panner_shell():set_bypassed(true)
master:panner_shell():set_bypassed(true)
track:output():disconnect_all(nil)
for c = 0, beams - 1 do
  assert(track:output():audio(c):connect(master:input():audio(c):name()) == 0, "cannot wire beam " .. c + 1)
end
print("latency", plugin:signal_latency(), "block", Session:get_block_size())
Session:save_state("", false, false, false, false, false)
close_session()
