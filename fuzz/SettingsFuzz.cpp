#include <Foundation/UserDefaults.h>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

/// In a folder of its own for each process, in memory where that can be.
std::filesystem::path settingsFile() {
    std::string folder =
        std::filesystem::is_directory("/dev/shm") ? "/dev/shm/parlowen-fuzz-XXXXXX" : "/tmp/parlowen-fuzz-XXXXXX";
    if (::mkdtemp(folder.data()) == nullptr)
        std::abort();
    return std::filesystem::path(folder) / "settings.ini";
}

} // namespace

/// A settings file that anything may have written: what is stored afterwards is read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::filesystem::path file = settingsFile();
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    {
        parlowen::UserDefaults settings(QString::fromStdString(file));
        settings.string(QStringLiteral("LOGIN_TOKEN"));
        settings.data(QStringLiteral("userInfo"));
        settings.boolean(QStringLiteral("isAutoLogin"));
        settings.integer(QStringLiteral("aiInterviewType"));
        const QString word = QStringLiteral("a \"word\";\n");
        settings.setString(QStringLiteral("written"), word);
        if (settings.string(QStringLiteral("written")) != word)
            std::abort();
    }
    // Also what was put aside since it could not be understood.
    for (const auto& entry : std::filesystem::directory_iterator(file.parent_path()))
        std::filesystem::remove(entry.path());
    return 0;
}
