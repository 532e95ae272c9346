#include "emulation/vkEmulation.h"

#include <mutex>

namespace {

// The one attachment point of the emulation.
struct Attachment {
    std::mutex mutex;
    std::shared_ptr<CHardwareModel> model;
};

Attachment& attachment()
{
    static Attachment instance;
    return instance;
}

} // namespace

namespace vkEmulation {

void attach(std::shared_ptr<CHardwareModel> model)
{
    Attachment& a = attachment();
    const std::lock_guard<std::mutex> lock(a.mutex);
    a.model = std::move(model);
}

void detach()
{
    attach(nullptr);
}

std::shared_ptr<CHardwareModel> model()
{
    Attachment& a = attachment();
    const std::lock_guard<std::mutex> lock(a.mutex);
    return a.model;
}

bool attached()
{
    return model() != nullptr;
}

} // namespace vkEmulation
