#include <Foundation/UserDefaults.h>
#include <QByteArray>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

/// A file of its own for each process, in memory where that can be.
std::string settingsFile() {
    const std::filesystem::path folder = std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
    return folder / ("parlowen-fuzz-" + std::to_string(::getpid()) + ".ini");
}

} // namespace

/// A settings file that anything may have written: what is stored afterwards is read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string file = settingsFile();
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    {
        parlowen::UserDefaults settings(QString::fromStdString(file));
        for (const char* key : {"LOGIN_TOKEN", "userInfo", "isAutoLogin", "aiInterviewType"}) {
            const QString name = QString::fromLatin1(key);
            settings.string(name);
            settings.boolean(name);
            settings.integer(name);
            settings.data(name);
        }
        const QString word = QString::fromLatin1("a \"word\";\n");
        settings.setString(QString::fromLatin1("written"), word);
        if (settings.string(QString::fromLatin1("written")) != word)
            std::abort();
    }
    // Also what was put aside since it could not be understood.
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(file).parent_path()))
        if (entry.path().string().starts_with(file))
            std::filesystem::remove(entry.path());
    return 0;
}
