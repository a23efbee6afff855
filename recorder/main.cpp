#include <cstdio>

#include "recorder/server/Options.h"
#include "recorder/server/Server.h"

int main(int argc, char** argv)
{
    const recorder::ParsedOptions parsed = recorder::ParseOptions(argc, argv);
    if (!parsed.run) {
        std::fputs(parsed.say.c_str(), parsed.exit == 0 ? stdout : stderr);
        return parsed.exit;
    }
    return recorder::RunRecorder(parsed.options);
}
