#pragma once
// One valid command from a remote controller, as the OSC thread hands it to the control
// thread: a head orientation, the direction of a beam in the AmbiX frame, or the pattern
// of a beam. Plain data, copied through a lock-free queue.

struct CRemoteCommand {
    enum class Kind { head, beamDirection, beamPattern };

    Kind kind = Kind::head;
    // Beam index from 0 (OSC counts beams from 1).
    int beam = 0;
    // head: yaw, pitch, roll in degrees (yaw > 0 turns the head to the left).
    // beamDirection: azimuth and elevation in degrees (AmbiX frame), distance.
    float a = 0.0f;
    float b = 0.0f;
    float c = 0.0f;
    // beamPattern: the pattern's index in the graph's catalogue.
    int pattern = 0;
};
