// A fresh folder under the system's temporary folder, removed with all its
// content at the end of a test, and a registry store inside it that the
// library reads through RIDGEX_REGISTRY for as long as the object lives.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace ridgex_test {

class TempFolder {
  public:
    TempFolder() {
        static int counter = 0;
        path_ = std::filesystem::temp_directory_path() /
                ("ridgex-trace-" + std::to_string(std::random_device{}()) + "-" +
                 std::to_string(++counter));
        std::filesystem::create_directories(path_);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string operator/(const std::string& name) const { return (path_ / name).string(); }
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

inline void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The section line of a key below HKEY_LOCAL_MACHINE\SOFTWARE.
inline std::string Key(const std::string& below) {
    return "[HKEY_LOCAL_MACHINE\\SOFTWARE\\" + below + "]\n";
}
inline const std::string kTracingKey = Key("Solvane\\Tracing");

// The registry store of a test: Write() replaces the whole file.
class RegistryFile {
  public:
    explicit RegistryFile(const TempFolder& folder) : path_(folder / "registry.reg") {
        setenv("RIDGEX_REGISTRY", path_.c_str(), 1);
    }
    ~RegistryFile() { setenv("RIDGEX_REGISTRY", "/nonexistent/ridgex-test.reg", 1); }

    void Write(const std::string& body) const {
        WriteFile(path_, "Windows Registry Editor Version 5.00\r\n\r\n" + body);
    }

  private:
    std::string path_;
};

}  // namespace ridgex_test
