// The thread sanitizer doesn't see into the system's libraries: where they hand memory from one thread to
// another by atomics or locks of their own, it takes that for a race. Ours has all its frames in our own code.
// Part of every program that draws scenes: from a library nobody would link it.
#if defined(__SANITIZE_THREAD__)

extern "C" const char* __tsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)

extern "C" const char* __tsan_default_suppressions()
{
    return "race:libcairo.so\n"
           "race:libpixman-1.so\n"
           "race:libfontconfig.so\n"
           "race:libfreetype.so\n"
           "race:libavcodec.so\n"
           "race:libavutil.so\n";
}

#endif
