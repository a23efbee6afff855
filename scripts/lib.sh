# Shared by run, test and the scripts beside this file; sourced with the root of the tree as working directory.

# configure PRESET: once, and again when packages have come or the presets are others: what a preset sets stays in the cache
# of the build directory, and a build by itself doesn't look at presets.
configure()
{
    local preset=$1
    local launcher=()
    command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    if [ ! -f "build/$preset/build.ninja" ] || [ build/packages -nt "build/$preset/build.ninja" ] ||
        ! cmp -s CMakePresets.json "build/$preset/presets.json"; then
        cmake --preset "$preset" "${launcher[@]}" >"$(mkdir -p build && echo build)/$preset-configure.log" 2>&1 ||
            { cat "build/$preset-configure.log" >&2; return 1; }
        cp CMakePresets.json "build/$preset/presets.json"
    fi
}

# build PRESET [TARGET ...]: configures once, then builds what is out of date.
build()
{
    local preset=$1
    shift
    configure "$preset"
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

# lay_home BIN HOME: a module directory of its own, so that no setting of the user's is touched.
lay_home()
{
    mkdir -p "$2"
    cp -r "$1/config" "$1/dvr.bmp" "$2/"
    [ -e "$2/dvr.db" ] || cp "$1/dvr.db" "$2/"
}

# start_recorder BIN LOG ARGUMENT ...: on free ports of the loopback address. Returns when it serves, with its process in
# $recorder and its ports in $directory_port and $rendezvous_port; whoever called ends it.
start_recorder()
{
    local bin=$1 log=$2 ready
    shift 2
    ready=$(mktemp)
    "$bin/watchwall-recorder" --directory-port 0 --rendezvous-port 0 --ready-file "$ready" "$@" >"$log" 2>&1 &
    recorder=$!
    until [ -s "$ready" ]; do
        kill -0 "$recorder" 2>/dev/null || { cat "$log" >&2; echo "the recorder did not start" >&2; return 1; }
        sleep 0.05
    done
    directory_port=$(sed -n 's/.*directory=[^ ]*:\([0-9]*\).*/\1/p' "$ready")
    rendezvous_port=$(sed -n 's/.*rendezvous=[^ ]*:\([0-9]*\).*/\1/p' "$ready")
    rm -f "$ready"
}

# point_at_recorder HOME: the settings with which a wall of that module directory finds the recorder that was started.
point_at_recorder()
{
    cat >"$1/config/system.ini" <<INI
[System]
DirectoryServer=127.0.0.1
DirectoryPort=$directory_port
RendezvousPort=$rendezvous_port
SharedReceive=1
StandardChroma=1
INI
}

# all_or_refuse KIND [NAME ...]: the benches or fuzz targets of these names, or all, in $names. Ends with 2 when one isn't there.
all_or_refuse()
{
    local kind=$1 all=() name
    shift
    for name in "$kind"/*_"$kind".cpp; do
        [ ! -e "$name" ] || all+=("$(basename "$name" "_$kind.cpp")")
    done
    names=("$@")
    [ $# -gt 0 ] || names=("${all[@]}")
    for name in "${names[@]}"; do
        [[ " ${all[*]} " == *" $name "* ]] || { echo "$kind: there is no '$name'; there are: ${all[*]}" >&2; exit 2; }
    done
}

# existing_files, existing_lines: of the names on standard input (ended by NUL, by newline), those that stand.
existing_files()
{
    local name
    while IFS= read -r -d '' name; do [ ! -e "$name" ] || printf '%s\0' "$name"; done
}
existing_lines()
{
    local name
    while IFS= read -r name; do [ ! -e "$name" ] || printf '%s\n' "$name"; done
}

# targets_of PRESET PATTERN: the test programs with a test whose name matches the regular expression, a line each. Names of
# suites made from parameters get the instance in front; what stands behind the name (an index) isn't known here.
targets_of()
{
    git ls-files -z --cached --others --exclude-standard -- 'tests/*_test.cpp' | existing_files | xargs -0 perl -0777 -ne '
        BEGIN { $pattern = shift; local $/ = "\n"; open $in, "<", "build/'"$1"'/compile_commands.json" or exit;
                while (<$in>) { $object = $1 if /"output":\s*"([^"]+)"/; $object = $1 if /-o (\S+\.o)/;
                                if (m{"file":.*/(tests/[^"]+)"}) { my $source = $1; push @{$of{$source}}, $object =~ m{CMakeFiles/([^/]+)\.dir/} } }
                close $in }
        my %instances;
        push @{$instances{$2}}, $1 while /INSTANTIATE_T\w+\(\s*(\w+),\s*(\w+)/g;
        while (/^(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)/mg) {
            for my $name ("$1.$2", map { "$_/$1.$2" } @{$instances{$1} // []}) {
                $found{$_} = 1 for $name =~ /$pattern/ ? @{$of{$ARGV} // []} : ();
            }
        }
        END { print "$_\n" for sort keys %found }' "$2"
}
