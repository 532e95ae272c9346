#include "device/CDriverRegistry.h"

#include <algorithm>

namespace {
// Built on first use, so that registrations from static objects of any file find it.
std::vector<const CDriverBackend*>& registry()
{
    static std::vector<const CDriverBackend*> list;
    return list;
}
} // namespace

void CDriverRegistry::add(const CDriverBackend* backend)
{
    if (backend && std::find(registry().begin(), registry().end(), backend) == registry().end())
        registry().push_back(backend);
}

void CDriverRegistry::remove(const CDriverBackend* backend)
{
    std::erase(registry(), backend);
}

std::vector<const CDriverBackend*> CDriverRegistry::backends()
{
    std::vector<const CDriverBackend*> list = registry();
    std::stable_sort(list.begin(), list.end(),
                     [](const CDriverBackend* a, const CDriverBackend* b) { return a->rank() < b->rank(); });
    return list;
}
