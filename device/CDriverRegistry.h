#pragma once
// The families of driver objects this build offers. Each backend lives in one file of
// device/drivers/ and registers itself there with a static CDriverRegistration; the
// driver layer asks the registry for the list of drivers and for a driver by name.
// Tests add their own backends the same way. Main thread only.

#include "device/IASIO.h"

#include <memory>
#include <string>
#include <vector>

class CDriverBackend {
public:
    CDriverBackend() = default;
    CDriverBackend(const CDriverBackend&) = delete;
    CDriverBackend& operator=(const CDriverBackend&) = delete;
    virtual ~CDriverBackend() = default;

    // Place in the driver list: backends of lower rank are listed first.
    virtual int rank() const = 0;
    // Appends the names of the drivers that can be created now.
    virtual void listDrivers(std::vector<std::string>& names) const = 0;
    // A new driver object for a name this backend listed; null when it cannot be made.
    virtual std::unique_ptr<IASIO> createDriver(const std::string& name) const = 0;
};

namespace CDriverRegistry {
void add(const CDriverBackend* backend);
void remove(const CDriverBackend* backend);
// The registered backends, ordered by rank, then by registration.
std::vector<const CDriverBackend*> backends();
}

// Registers a backend for the lifetime of this object.
class CDriverRegistration {
public:
    explicit CDriverRegistration(const CDriverBackend& backend) : mBackend(backend) { CDriverRegistry::add(&mBackend); }
    ~CDriverRegistration() { CDriverRegistry::remove(&mBackend); }
    CDriverRegistration(const CDriverRegistration&) = delete;
    CDriverRegistration& operator=(const CDriverRegistration&) = delete;

private:
    const CDriverBackend& mBackend;
};
