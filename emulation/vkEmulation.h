#pragma once
// The application's switch for the emulated hardware. The application owns one
// CHardwareModel and shares it between the emulated box (which writes preamp gains and
// set-up into it) and the emulated audio driver (which reads it every block).
//
// attach(model): emulation on; the driver list offers kDriverName, and drivers made from
//                it read this model.
// detach():      emulation off; nothing is listed under kDriverName. A driver that is
//                already open keeps the model it was made with until it is released.
//
// This attachment is the emulation's only process-wide state. All functions are
// thread-safe; none may be called from an audio thread.

#include <memory>

class CHardwareModel;

namespace vkEmulation {

// The name under which the emulated box's audio side is listed.
inline constexpr const char* kDriverName = "ASIO TCAT Dice EVM Platform";

// Attaches `model` (replacing any attached before); a null model detaches.
void attach(std::shared_ptr<CHardwareModel> model);
void detach();

// The attached model, or null while emulation is off.
std::shared_ptr<CHardwareModel> model();
bool attached();

} // namespace vkEmulation
