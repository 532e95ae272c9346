#include "box/midi_port_directory.h"

void midi_port_directory_t::addInput(boost::shared_ptr<midi_input_dev_t> input)
{
    mInputs.push_back(std::move(input));
}

void midi_port_directory_t::addOutput(boost::shared_ptr<midi_output_dev_t> output)
{
    mOutputs.push_back(std::move(output));
}

void midi_port_directory_t::inputs(midi_input_list_t& list) const
{
    if (mSystemPorts)
        midi_input_devices(list);
    list.insert(list.end(), mInputs.begin(), mInputs.end());
}

void midi_port_directory_t::outputs(midi_output_list_t& list) const
{
    if (mSystemPorts)
        midi_output_devices(list);
    list.insert(list.end(), mOutputs.begin(), mOutputs.end());
}
