#include "OscLoopback.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace oscloop {

int startOnFreePort(const std::function<bool(int, std::string&)>& start)
{
    const int first = 20000 + static_cast<int>(getpid() % 2000) * 10;
    for (int port = first; port < first + 2000; ++port) {
        std::string message;
        if (start(port, message))
            return port;
    }
    return 0;
}

bool waitFor(const std::function<bool()>& done)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

Sender::Sender(int port)
    : mAddress(lo_address_new("127.0.0.1", std::to_string(port).c_str()))
    , mSocket(socket(AF_INET, SOCK_DGRAM, 0))
    , mPort(port)
{
}

Sender::~Sender()
{
    lo_address_free(mAddress);
    close(mSocket);
}

void Sender::sendBytes(const std::vector<std::uint8_t>& bytes)
{
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<std::uint16_t>(mPort));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sendto(mSocket, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof(to));
}

} // namespace oscloop
