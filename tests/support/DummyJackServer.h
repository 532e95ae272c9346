#pragma once
// A JACK server on the dummy backend under a private name, for tests on machines without a
// sound card. It becomes this process's default server (JACK_DEFAULT_SERVER), so that the
// driver under test finds it and no other; it is stopped with SIGTERM and reaped.
// The name depends on the process alone, so a server started after one has ended is the
// same server to a client.

#include "device/drivers/CJackDriver.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

class DummyJackServer {
public:
    // `serverOptions` go before the backend's (for example "-S" for synchronous mode).
    explicit DummyJackServer(std::vector<std::string> serverOptions = {})
    {
        const std::string name = "vantoria-test-" + std::to_string(getpid());
        setenv("JACK_DEFAULT_SERVER", name.c_str(), 1);
        std::vector<std::string> args{"jackd"};
        args.insert(args.end(), serverOptions.begin(), serverOptions.end());
        args.insert(args.end(), {"-n", name, "-d", "dummy", "-r", "44100", "-p", "512"});
        std::vector<char*> argv;
        for (std::string& a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        if (posix_spawnp(&mServer, "jackd", nullptr, nullptr, argv.data(), environ) != 0)
            mServer = 0;
        for (int i = 0; i < 100 && mServer && !CJackDriver::serverReachable(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    ~DummyJackServer()
    {
        if (mServer) {
            kill(mServer, SIGTERM);
            waitpid(mServer, nullptr, 0);
        }
    }
    DummyJackServer(const DummyJackServer&) = delete;
    DummyJackServer& operator=(const DummyJackServer&) = delete;

    // The server was started and answers a client.
    bool running() const { return mServer != 0 && CJackDriver::serverReachable(); }
    // Ends the server with SIGKILL, as a crash would, and reaps it.
    void killHard()
    {
        if (mServer) {
            kill(mServer, SIGKILL);
            waitpid(mServer, nullptr, 0);
            mServer = 0;
        }
    }

private:
    pid_t mServer = 0;
};
