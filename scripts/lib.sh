# Shared by run, test and the scripts beside this file; sourced with the root of the tree as working directory.

# build PRESET [TARGET ...]: configures once, then builds what is out of date.
build()
{
    local preset=$1
    shift
    local launcher=()
    command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    if [ ! -f "build/$preset/build.ninja" ]; then
        cmake --preset "$preset" "${launcher[@]}" >"$(mkdir -p build && echo build)/$preset-configure.log" 2>&1 ||
            { cat "build/$preset-configure.log" >&2; return 1; }
    fi
    local targets=()
    [ $# -gt 0 ] && targets=(--target "$@")
    cmake --build --preset "$preset" "${targets[@]}"
}

# with_display COMMAND ...: runs the command on the display there is, or on a virtual one of its own. Without -noreset the
# virtual one would start anew whenever its last window goes, and refuse whoever connects at that moment.
with_display()
{
    if [ -n "${DISPLAY:-}" ] && [ -z "${WATCHWALL_VIRTUAL_DISPLAY:-}" ]; then
        "$@"
    else
        env -u WAYLAND_DISPLAY QT_QPA_PLATFORM=xcb LIBGL_ALWAYS_SOFTWARE=1 \
            xvfb-run --auto-servernum --server-args="-screen 0 1280x960x24 +extension GLX -noreset" "$@"
    fi
}
