// Puts a finger on libfprint's virtual image reader: an image file, a
// synthetic fingerprint, or one of the reader's commands. The reader listens
// on the socket that FP_VIRTUAL_IMAGE names in the client's environment, and
// only while the client has it open; it takes an image only while a capture
// waits for a finger.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "finger_image.h"
#include "virtual_finger.h"

namespace {

constexpr char kUsage[] =
    "usage: ridgex-virtual-finger [--socket PATH] [IMAGE | --seed N | --retry CODE |\n"
    "                             --error CODE | --unplug]\n"
    "  Sends IMAGE (binary PGM or PNG), else the synthetic finger N (default 1,\n"
    "  256 x 360 at 500 dpi), to the virtual reader listening on PATH (default:\n"
    "  $FP_VIRTUAL_IMAGE). --retry, --error and --unplug send libfprint's retry code,\n"
    "  device error code, or an unplug instead.\n";

int Fail(const std::string& message) {
    std::fprintf(stderr, "ridgex-virtual-finger: %s\n", message.c_str());
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    const char* from_environment = std::getenv("FP_VIRTUAL_IMAGE");
    std::string socket = from_environment != nullptr ? from_environment : "";
    std::string file, command;
    int32_t number = 1;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const bool has_value = i + 1 < argc;
        if (argument == "--help" || argument == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (argument == "--socket" && has_value) {
            socket = argv[++i];
        } else if ((argument == "--seed" || argument == "--retry" || argument == "--error") &&
                   has_value) {
            command = argument;
            number = std::atoi(argv[++i]);
        } else if (argument == "--unplug") {
            command = argument;
        } else if (argument[0] != '-' && file.empty()) {
            file = argument;
        } else {
            std::fputs(kUsage, stderr);
            return 2;
        }
    }
    if (socket.empty()) {
        return Fail("no socket: give --socket or set FP_VIRTUAL_IMAGE");
    }
    sim::virtual_finger finger;
    if (!finger.Connect(socket)) {
        return Fail("no virtual reader listens on " + socket + " (is it open in a client?)");
    }
    bool sent = false;
    if (command == "--retry") {
        sent = finger.SendCommand(sim::virtual_command::retry, number);
    } else if (command == "--error") {
        sent = finger.SendCommand(sim::virtual_command::device_error, number);
    } else if (command == "--unplug") {
        sent = finger.SendCommand(sim::virtual_command::unplug, 0);
    } else if (!file.empty()) {
        grey_image image;
        std::string error;
        if (!ReadGreyImage(file, image, error)) {
            return Fail(file + ": " + error);
        }
        sent = finger.SendImage(image.width, image.height, image.pixels.data());
    } else {
        const std::vector<uint8_t> pixels =
            sim::SyntheticFinger(static_cast<uint32_t>(number), 256, 360);
        sent = finger.SendImage(256, 360, pixels.data());
    }
    return sent ? 0 : Fail("the reader closed the connection");
}
