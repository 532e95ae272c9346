#include "remote/COscServer.h"


#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {
// liblo's error callback carries no user data. It runs on the thread that called into
// liblo: on the OSC thread it counts an unreadable packet into that server's counter; on
// the control thread, while a server is being made, it keeps the reason for start().
thread_local std::atomic<std::uint64_t>* tMalformed = nullptr;
thread_local std::string* tCreationError = nullptr;
// Why UDP `port` cannot be bound, in the system's words ("Address already in use"): liblo
// only says that it found no port.
std::string bindFailure(int port)
{
    const int s = socket(AF_INET, SOCK_DGRAM, 0);
    if (s < 0)
        return std::strerror(errno);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    const bool bound = bind(s, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    const std::string reason = bound ? std::string() : std::strerror(errno);
    close(s);
    return reason;
}
} // namespace

COscServer::COscServer(std::vector<std::string> patternNames, int maxBeams)
    : mParser(std::move(patternNames), maxBeams)
{
}

COscServer::~COscServer() { stop(); }

bool COscServer::start(int port, std::string& message)
{
    stop();
    if (port < 1 || port > 65535) {
        message = "OSC port " + std::to_string(port) + " is not a port number (1 to 65535)";
        return false;
    }
    std::string reason;
    tCreationError = &reason;
    const std::string service = std::to_string(port);
    lo_server server = lo_server_new_with_proto(service.c_str(), LO_UDP, &COscServer::onLibraryError);
    tCreationError = nullptr;
    if (!server) {
        const std::string why = bindFailure(port);
        message = "OSC port " + service + " cannot be opened: " + (why.empty() ? reason : why);
        return false;
    }
    lo_server_add_method(server, nullptr, nullptr, &COscServer::onMessage, this);
    mServer = server;
    mPort = port;
    mStopping.store(false, std::memory_order_relaxed);
    mThread = std::thread(&COscServer::run, this);
    return true;
}

void COscServer::stop()
{
    if (!mServer)
        return;
    mStopping.store(true, std::memory_order_relaxed);
    mThread.join();
    lo_server_free(mServer);
    mServer = nullptr;
    mPort = 0;
}

COscServer::Counts COscServer::counts() const
{
    return {mAccepted.load(std::memory_order_relaxed), mMalformed.load(std::memory_order_relaxed),
            mDropped.load(std::memory_order_relaxed)};
}

void COscServer::run()
{
    tMalformed = &mMalformed;
    while (!mStopping.load(std::memory_order_relaxed))
        lo_server_recv_noblock(mServer, kWakeMs);
    tMalformed = nullptr;
}

int COscServer::onMessage(const char* path, const char* types, lo_arg** argv, int argc, lo_message, void* self)
{
    auto* server = static_cast<COscServer*>(self);
    CRemoteCommand command;
    if (!server->mParser.parse(path, types, argv, argc, command))
        server->mMalformed.fetch_add(1, std::memory_order_relaxed);
    else if (!server->mQueue.push(command))
        server->mDropped.fetch_add(1, std::memory_order_relaxed);
    else
        server->mAccepted.fetch_add(1, std::memory_order_relaxed);
    return 0;
}

void COscServer::onLibraryError(int, const char* text, const char*)
{
    if (tMalformed)
        tMalformed->fetch_add(1, std::memory_order_relaxed);
    else if (tCreationError && text)
        *tCreationError = text;
}
