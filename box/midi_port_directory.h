#pragma once
// Where the box control looks for its MIDI ports: the system's ports, if asked for, then
// in-process devices added here (the emulated box), in the order added. The control takes
// the last port of the box's name, so an emulated box added here stands in for a real
// one.

#include "box/alsa_midi_dev.h"

class midi_port_directory_t {
public:
    explicit midi_port_directory_t(bool systemPorts = true) : mSystemPorts(systemPorts) {}

    void addInput(boost::shared_ptr<midi_input_dev_t> input);
    void addOutput(boost::shared_ptr<midi_output_dev_t> output);

    void inputs(midi_input_list_t& list) const;
    void outputs(midi_output_list_t& list) const;

private:
    bool mSystemPorts;
    midi_input_list_t mInputs;
    midi_output_list_t mOutputs;
};
