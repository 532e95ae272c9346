#include "emulation/CEmulatedHardware.h"

#include "emulation/vkEmulation.h"

namespace {
// The box library holds its model by boost::shared_ptr, the driver side by
// std::shared_ptr; the boost handle keeps the std one alive, so both share one model.
boost::shared_ptr<CHardwareModel> boostHandle(const std::shared_ptr<CHardwareModel>& model)
{
    return boost::shared_ptr<CHardwareModel>(model.get(), [keep = model](CHardwareModel*) mutable { keep.reset(); });
}
} // namespace

CEmulatedHardware::CEmulatedHardware()
    : mModel(std::make_shared<CHardwareModel>()), mBox(emulated_box_t::create(boostHandle(mModel)))
{
    vkEmulation::attach(mModel);
}

CEmulatedHardware::~CEmulatedHardware()
{
    vkEmulation::detach();
}

midi_port_directory_t CEmulatedHardware::ports() const
{
    midi_port_directory_t ports;
    ports.addInput(mBox->input());
    ports.addOutput(mBox->output());
    return ports;
}
