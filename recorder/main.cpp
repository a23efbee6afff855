#include <cstdio>

#include "recorder/server/Options.h"
#include "recorder/server/Server.h"

int main(int argc, char** argv)
{
    const recorder::XParsed parsed = recorder::ParseOptions(argc, argv);
    if (!parsed.m_bRun) {
        std::fputs(parsed.m_strSay.c_str(), parsed.m_iExit == 0 ? stdout : stderr);
        return parsed.m_iExit;
    }
    return recorder::RunRecorder(parsed.m_Options);
}
