// The .reg parser over any text: the first piece names the key to look for,
// the rest is the store. Also looks up a fixed key, which most seeds name.
#include "platform/registry.h"

#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const std::string_view path = input.Bytes(256);
    const std::string_view text = input.Rest();
    for (const std::string_view key : {path, std::string_view("SOFTWARE\\Solvane\\Tracing")}) {
        platform::registry_key_data found;
        platform::parse_registry_key(text, key, &found);
    }
    return 0;
}
