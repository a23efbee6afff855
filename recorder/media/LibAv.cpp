#include "recorder/media/LibAv.h"

#include <stdexcept>

namespace recorder
{

std::string AvErrorText(int error)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

int CheckAv(int result, const char* what)
{
    if (result < 0) throw std::runtime_error(std::string("can't ") + what + ": " + AvErrorText(result));
    return result;
}

}  // namespace recorder
