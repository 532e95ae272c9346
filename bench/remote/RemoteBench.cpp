// The OSC path's cost: parsing one message of each kind on the OSC thread, and valid
// messages over the loopback interface until the control thread has taken them from the
// queue (messages per second, the rate a tracker could send at before the queue drops).
#include "remote/COscParser.h"
#include "remote/COscServer.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <thread>

namespace {
const std::vector<std::string> kPatterns = {"omni", "super3", "super2", "super1", "hyper3", "hyper2",
                                            "hyper1", "card3", "card2", "card1", "dipole1", "torus"};

using Message = std::unique_ptr<std::remove_pointer_t<lo_message>, decltype(&lo_message_free)>;

void parse(benchmark::State& state, const char* path, Message message)
{
    const COscParser parser(kPatterns, 18);
    CRemoteCommand command;
    lo_arg** argv = lo_message_get_argv(message.get());
    const char* types = lo_message_get_types(message.get());
    const int argc = lo_message_get_argc(message.get());
    for (auto _ : state)
        benchmark::DoNotOptimize(parser.parse(path, types, argv, argc, command));
}

void BM_ParseHead(benchmark::State& state)
{
    Message m(lo_message_new(), &lo_message_free);
    lo_message_add_float(m.get(), 30.0f);
    lo_message_add_float(m.get(), -5.0f);
    lo_message_add_float(m.get(), 2.0f);
    parse(state, "/vantoria/ypr", std::move(m));
}

void BM_ParseQuaternion(benchmark::State& state)
{
    Message m(lo_message_new(), &lo_message_free);
    for (float v : {0.9f, 0.1f, 0.2f, 0.3f})
        lo_message_add_float(m.get(), v);
    parse(state, "/vantoria/quaternion", std::move(m));
}

void BM_ParsePatternName(benchmark::State& state)
{
    Message m(lo_message_new(), &lo_message_free);
    lo_message_add_string(m.get(), "torus");
    parse(state, "/vantoria/beam/12/pattern", std::move(m));
}

void BM_LoopbackToQueue(benchmark::State& state)
{
    COscServer server(kPatterns, 18);
    std::string message;
    int port = 0;
    for (int p = 39000; p < 39100 && port == 0; ++p)
        if (server.start(p, message))
            port = p;
    if (port == 0) {
        state.SkipWithError("no free UDP port");
        return;
    }
    lo_address to = lo_address_new("127.0.0.1", std::to_string(port).c_str());
    CRemoteCommand command;
    std::int64_t taken = 0;
    for (auto _ : state) {
        lo_send(to, "/vantoria/ypr", "fff", 1.0f, 2.0f, 3.0f);
        while (!server.next(command))
            std::this_thread::yield();
        ++taken;
    }
    state.SetItemsProcessed(taken);
    lo_address_free(to);
}
} // namespace

BENCHMARK(BM_ParseHead);
BENCHMARK(BM_ParseQuaternion);
BENCHMARK(BM_ParsePatternName);
BENCHMARK(BM_LoopbackToQueue)->UseRealTime();
