#pragma once
// The QApplication of a GoogleTest program with widgets. Including this header registers
// it: it lives from before the first test to after the last, and goes before the
// program's static objects do.

#include <QApplication>

#include <memory>

#include <gtest/gtest.h>

namespace gui_application {

struct Environment : ::testing::Environment {
    void SetUp() override
    {
        static int argc = 1;
        static char name[] = "vk_gui_tests";
        static char* argv[] = {name, nullptr};
        application = std::make_unique<QApplication>(argc, argv);
    }
    void TearDown() override { application.reset(); }
    std::unique_ptr<QApplication> application;
};
inline ::testing::Environment* const kRegistered = ::testing::AddGlobalTestEnvironment(new Environment);

} // namespace gui_application
