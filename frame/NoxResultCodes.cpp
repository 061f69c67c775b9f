#include <NoxResultCodes.h>

namespace NOXEL {

const char* NoxResultText(long code) noexcept
{
    switch (code) {
#define NOX_CODE_TEXT(name, number, meaning) \
    case number: return meaning;
        NOX_RESULT_CODES(NOX_CODE_TEXT)
#undef NOX_CODE_TEXT
        default: return "unknown result code";
    }
}

}  // namespace NOXEL
