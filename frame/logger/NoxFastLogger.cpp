#include <NoxFastLoggerPrivate.h>

#include <spdlog/spdlog.h>

namespace NOXEL {

NoxFastLoggerPrivate::NoxFastLoggerPrivate() = default;
NoxFastLoggerPrivate::~NoxFastLoggerPrivate() = default;

long NoxFastLoggerPrivate::Log(const char* message, const char* module, const char* function, int line)
{
    try {
        const auto logger = spdlog::get("Nox3DDataConvert");
        if (logger) logger->info("{} {}:{} {}", module, function, line, message);
    } catch (...) {  // a record that can't be written must not end a conversion
    }
    return 0;
}

}  // namespace NOXEL
