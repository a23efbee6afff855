#include "recorder/media/LibAv.h"

#include <stdexcept>

namespace recorder
{

std::string AvErrorText(int iError)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(iError, text, sizeof text);
    return text;
}

int CheckAv(int iResult, const char* szWhat)
{
    if (iResult < 0) throw std::runtime_error(std::string("can't ") + szWhat + ": " + AvErrorText(iResult));
    return iResult;
}

}  // namespace recorder
