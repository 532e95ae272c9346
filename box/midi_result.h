#pragma once
// Result codes of the MIDI layer. 0 is success, every failure is negative.

enum midi_result_t : int {
    midi_ok = 0,
    midi_already_open = -1,
    midi_not_open = -2,
    midi_open_refused = -3,
    midi_already_started = -4,
    midi_not_started = -5,
    midi_start_refused = -6,
    midi_send_refused = -7,
    midi_not_ready = -8,
    midi_sysex_too_long = -9,
    midi_sysex_unframed = -10,
    midi_bytes_too_long = -11,
    midi_pool_empty = -12,
    midi_bad_short = -16,
};
