#pragma once
// The interface box and the array in software, for a machine without them: one hardware
// model, shared by the emulated box that answers the box protocol from it and by the
// emulated audio driver that reads it every block. While this object lives the driver
// list offers the box's driver and the box control finds the emulated box among its MIDI
// ports. It must outlive the box control that talks to it.

#include "emulation/emulated_box.h"
#include "box/midi_port_directory.h"
#include "emulation/CHardwareModel.h"

#include <boost/shared_ptr.hpp>

#include <memory>

class CEmulatedHardware {
public:
    CEmulatedHardware();
    ~CEmulatedHardware();
    CEmulatedHardware(const CEmulatedHardware&) = delete;
    CEmulatedHardware& operator=(const CEmulatedHardware&) = delete;

    // The system's MIDI ports followed by the emulated box, which therefore stands in for
    // a real box of the same name.
    midi_port_directory_t ports() const;

    CHardwareModel& model() const { return *mModel; }

private:
    std::shared_ptr<CHardwareModel> mModel;
    boost::shared_ptr<emulated_box_t> mBox;
};
