#include <cstdio>

#include "recorder/server/Options.h"
#include "recorder/server/Server.h"
#include "recorder/server/Streams.h"

int main(int argc, char** argv)
{
    recorder::KeepStreams();
    const recorder::ParsedOptions parsed = recorder::ParseOptions(argc, argv);
    if (!parsed.run) {
        std::fputs(parsed.say.c_str(), parsed.exit == 0 ? stdout : stderr);
        return parsed.exit;
    }
    return recorder::RunRecorder(parsed.options);
}
