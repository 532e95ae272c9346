#pragma once
// A fake driver registered and the layer initialised around each test; the layer is
// unloaded before the driver's backend goes.

#include "device/vkHost.h"
#include "device/vkHostState.h"
#include "tests/device/CFakeDriver.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

class HostFixture : public ::testing::Test {
protected:
    void TearDown() override { hostInit(); }

    // Initialises the layer with the backend as configured and loads its first driver.
    void load()
    {
        hostInit();
        ASSERT_EQ(hostLoadDriver(fake.config.names.front().c_str()), 0);
    }
    CFakeDriver& driver() { return *fake.driver(); }
    vkHostState& state() { return hostState(); }

    // 32-bit samples of one half of an opened channel (inputs first).
    std::int32_t* int32At(int position, int half) { return static_cast<std::int32_t*>(driver().buffer(position, half)); }

    CFakeBackend fake;
};
