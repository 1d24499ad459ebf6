#include "host/module/module.h"

#include <memory>
#include <string>
#include <vector>

#include <dlfcn.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/RvQueue.h"
#include "host/error.h"
#include "tests/host/module/fake_plug_in.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

std::string loading_error(const std::string &path) {
    try {
        host::Module module(path);
    } catch (const host::Error &error) {
        return error.what();
    }
    return "";
}

TEST(Module, MissingFileIsNamed) {
    EXPECT_EQ(loading_error("nowhere/module.so"), "nowhere/module.so: there is no such file");
}

TEST(Module, BareNameIsNotSearchedForInTheLoadersPath) {
    EXPECT_EQ(loading_error("libc.so.6"), "libc.so.6: there is no such file");
}

TEST(Module, FileThatIsNoModuleIsRefusedWithTheLoadersReasonAndThePathOnce) {
    const std::string error = loading_error(NO_MODULE);

    EXPECT_THAT(error, StartsWith(NO_MODULE ": this module cannot be loaded: "));
    EXPECT_EQ(error.find(NO_MODULE, 1), std::string::npos) << error;
}

TEST(Module, DirectoryIsRefused) { EXPECT_THAT(loading_error("/"), HasSubstr("this module cannot be loaded")); }

TEST(Module, ModuleWithoutAFactoryIsRefused) {
    EXPECT_EQ(loading_error(NO_FACTORY), NO_FACTORY ": the module exports no OndreQORHIDStatisticsFactory");
}

class HostedFake : public testing::Test {
protected:
    HostedFake() {
        void *mapped = ::dlopen(FAKE_PLUG_IN, RTLD_NOW | RTLD_NOLOAD);
        fake = reinterpret_cast<FakePlugInFunction>(::dlsym(mapped, kFakePlugInName))();
        *fake = FakePlugIn{};
    }

    std::string hosting_error() {
        try {
            host::HostedPlugIn hosted(module, queue);
        } catch (const host::Error &error) {
            return error.what();
        }
        return "";
    }

    host::Module module{FAKE_PLUG_IN};
    host::SerialQueue queue;
    FakePlugIn *fake = nullptr;
};

TEST_F(HostedFake, IsTakenThroughItsLifeInOrderOnTheQueue) {
    std::vector<std::unique_ptr<RvHIDService>> services;
    services.push_back(std::make_unique<RvHIDService>());
    services.push_back(std::make_unique<RvHIDService>());

    host::HostedPlugIn hosted(module, queue);
    hosted.register_services(services);
    hosted.stop();

    EXPECT_THAT(fake->calls,
                ElementsAre("factory", "QueryInterface", "Release", "open", "scheduleWithDispatchQueue",
                            "registerService", "registerService", "unscheduleFromDispatchQueue", "close", "Release"));
    EXPECT_EQ(fake->references, 0);
}

TEST_F(HostedFake, IsStoppedOnceHoweverOftenStopIsCalled) {
    {
        host::HostedPlugIn hosted(module, queue);
        hosted.stop();
        hosted.stop();
    }

    EXPECT_EQ(fake->references, 0);
}

TEST_F(HostedFake, IsStoppedWhenItsHostingEnds) {
    { const host::HostedPlugIn hosted(module, queue); }

    EXPECT_EQ(fake->calls.back(), "Release");
    EXPECT_FALSE(queue.post([] {}));
}

TEST_F(HostedFake, WhatItRegisteredIsDroppedAfterTheLastRelease) {
    host::HostedPlugIn hosted(module, queue);
    int references_at_drop = -1;
    queue.at_close([&] { references_at_drop = fake->references; });

    hosted.stop();

    EXPECT_EQ(references_at_drop, 0);
}

TEST_F(HostedFake, NullSlotsAreSkipped) {
    fake->only_mandatory_slots = true;
    std::vector<std::unique_ptr<RvHIDService>> services;
    services.push_back(std::make_unique<RvHIDService>());

    host::HostedPlugIn hosted(module, queue);
    hosted.register_services(services);
    hosted.stop();

    EXPECT_THAT(fake->calls, ElementsAre("factory", "QueryInterface", "Release", "Release"));
}

TEST_F(HostedFake, FactoryThatRefusesIsNamed) {
    fake->factory_refuses = true;

    EXPECT_THAT(hosting_error(), AllOf(StartsWith(FAKE_PLUG_IN ": factory: "), HasSubstr("creates no object")));
}

TEST_F(HostedFake, ObjectThatRefusesTheInterfaceIsReleased) {
    fake->query_refuses = true;

    EXPECT_THAT(hosting_error(), StartsWith(FAKE_PLUG_IN ": QueryInterface: "));

    EXPECT_EQ(fake->references, 0);
}

TEST_F(HostedFake, ObjectThatRefusesToOpenIsReleased) {
    fake->open_refuses = true;

    EXPECT_THAT(hosting_error(), StartsWith(FAKE_PLUG_IN ": open: "));

    EXPECT_EQ(fake->references, 0);
    EXPECT_THAT(fake->calls, ElementsAre("factory", "QueryInterface", "Release", "open", "Release"));
}

} // namespace
