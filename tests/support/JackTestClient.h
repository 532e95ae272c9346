#pragma once
// A JACK client of the test's own, with ports of one direction named p1, p2, ... and a
// process routine, counting the xruns the server reports to it.

#include <jack/jack.h>

#include <atomic>
#include <string>
#include <vector>

class JackTestClient {
public:
    JackTestClient(const char* name, bool outputs, int ports)
    {
        jack_status_t status{};
        mClient = jack_client_open(name, JackNoStartServer, &status);
        if (!mClient)
            return;
        // The number is appended rather than prefixed with "p" + ...: GCC 12 at -O3 sees a
        // false overlap in that concatenation (-Wrestrict, GCC bug 105329).
        for (int c = 0; c < ports; ++c)
            mPorts.push_back(jack_port_register(mClient, std::string("p").append(std::to_string(c + 1)).c_str(),
                                                JACK_DEFAULT_AUDIO_TYPE, outputs ? JackPortIsOutput : JackPortIsInput, 0));
        jack_set_xrun_callback(
            mClient, [](void* self) { static_cast<JackTestClient*>(self)->xruns.fetch_add(1); return 0; }, this);
    }
    ~JackTestClient()
    {
        if (mClient)
            jack_client_close(mClient);
    }
    JackTestClient(const JackTestClient&) = delete;
    JackTestClient& operator=(const JackTestClient&) = delete;

    bool ok() const { return mClient != nullptr; }
    bool activate(JackProcessCallback process, void* arg)
    {
        return jack_set_process_callback(mClient, process, arg) == 0 && jack_activate(mClient) == 0;
    }
    const char* port(int c) const { return jack_port_name(mPorts[c]); }
    float* buffer(int c, jack_nframes_t frames) { return static_cast<float*>(jack_port_get_buffer(mPorts[c], frames)); }
    // Connects a port of another client by its full name to port `c`, in the direction of the data.
    bool connect(int c, const std::string& other, bool toOther)
    {
        return toOther ? jack_connect(mClient, port(c), other.c_str()) == 0
                       : jack_connect(mClient, other.c_str(), port(c)) == 0;
    }

    std::atomic<int> xruns{0};

private:
    jack_client_t* mClient = nullptr;
    std::vector<jack_port_t*> mPorts;
};
