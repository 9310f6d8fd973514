// Edits the tracing key of the registry store's text: the values given
// replace the key's values of the same name wherever the key's sections
// stand, and the rest go into its first section, which is added at the end
// when the store has none. Every other line stays as it was, line ends
// included.
#pragma once

#include <string>
#include <utility>
#include <vector>

// The key that switches tracing, as its section line names it.
inline constexpr const char* kTracingSection = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing]";

// A value line: "\"DoTrace\"=dword:00000001".
using value_line = std::pair<std::string, std::string>;  // name, whole line

// The store's text with the values set. An empty text becomes a new store.
std::string SetTracingValues(const std::string& text, const std::vector<value_line>& values);
