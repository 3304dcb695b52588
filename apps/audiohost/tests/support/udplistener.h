#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace AudioHost {

/// Takes what is sent to a port of the loopback, where what was sent has arrived.
class UdpListener {
public:
    using Packet = std::vector<std::uint8_t>;

    UdpListener() : socket_(::socket(AF_INET, SOCK_DGRAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const name = reinterpret_cast<sockaddr*>(&address);
        socklen_t size = sizeof(address);
        int const room = 4 << 20;
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &room, sizeof(room));
        if (::bind(socket_, name, size) != 0 || ::getsockname(socket_, name, &size) != 0) {
            throw std::runtime_error("no port");
        }
        port_ = ntohs(address.sin_port);
    }
    ~UdpListener() { ::close(socket_); }
    UdpListener(UdpListener const&) = delete;
    UdpListener& operator=(UdpListener const&) = delete;

    std::string GetAddress() const { return "rtp://127.0.0.1:" + std::to_string(port_); }
    int GetPort() const { return port_; }

    /// All that came since the last call.
    std::vector<Packet> Take() const {
        std::vector<Packet> packets;
        std::array<std::uint8_t, 2048> bytes{};
        for (;;) {
            ssize_t const size = ::recv(socket_, bytes.data(), bytes.size(), MSG_DONTWAIT);
            if (size < 0) {
                return packets;
            }
            packets.emplace_back(bytes.begin(), bytes.begin() + size);
        }
    }

private:
    int const socket_;
    int port_ = 0;
};

} // namespace AudioHost
