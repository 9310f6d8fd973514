#include "virtual_finger.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

#include "fingerprint.h"

namespace sim {

bool virtual_finger::Connect(const std::string& socket_path, std::chrono::milliseconds limit) {
    Disconnect();
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (socket_path.size() >= sizeof(address.sun_path)) {
        return false;
    }
    std::snprintf(address.sun_path, sizeof(address.sun_path), "%s", socket_path.c_str());
    const auto end = std::chrono::steady_clock::now() + limit;
    do {
        socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (socket_ < 0) {
            return false;
        }
        if (connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) {
            return true;
        }
        Disconnect();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    } while (std::chrono::steady_clock::now() < end);
    return false;
}

void virtual_finger::Disconnect() {
    if (socket_ >= 0) {
        close(socket_);
        socket_ = -1;
    }
}

bool virtual_finger::SendImage(uint32_t width, uint32_t height, const uint8_t* pixels) {
    const int32_t header[2] = {static_cast<int32_t>(width), static_cast<int32_t>(height)};
    return SendAll(header, sizeof(header)) && SendAll(pixels, size_t{width} * height);
}

bool virtual_finger::SendCommand(virtual_command command, int32_t argument) {
    const int32_t header[2] = {static_cast<int32_t>(command), argument};
    return SendAll(header, sizeof(header));
}

bool virtual_finger::SendAll(const void* bytes, size_t size) {
    const auto* next = static_cast<const uint8_t*>(bytes);
    while (size > 0) {
        const ssize_t sent = send(socket_, next, size, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        next += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

std::vector<uint8_t> SyntheticFinger(uint32_t seed, uint32_t width, uint32_t height) {
    std::vector<uint8_t> pixels(size_t{width} * height);
    render_fingerprint(seed, width, height, 500, pixels.data());
    return pixels;
}

}  // namespace sim
