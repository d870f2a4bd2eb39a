# What the fault table and the power-cut table share: the two versions, and what must hold on a
# target after a run that failed, was killed or lost its power at one position, then --recover.
# Sourced after the table has set cli, built and work; `repairBundle` is the bundle --recover
# runs from.

# The new version (2.0.0) installs over the old (the built bundle's own version).
old=$(sed -n '/CFBundleShortVersionString/{n;s/.*<string>\(.*\)<\/string>.*/\1/p}' \
    "$built/Contents/Info.plist")
new=2.0.0
newBundle=$work/New.app
cp -a "$built" "$newBundle"
sed -i "/CFBundleShortVersionString/{n;s/<string>.*<\/string>/<string>$new<\/string>/}" \
    "$newBundle/Contents/Info.plist"
ran=0
held=0
failures=()

run() {  # bundle, target root, arguments...
    VELA_MAIN_BUNDLE=$1 timeout 120 "$cli" --target "$2" "${@:3}"
}

# Every check, whatever the position; `beyond` (a function the table may define) adds its own.
check() {  # target root, description, run's exit status
    local root=$1 what=$2 status=$3 base=$1/Applications/Quillmark problems=()
    local vendor="$1/Library/Application Support/Quillmark/VELA" err link linked names bundle empty
    err=$(run "$repairBundle" "$root" --recover 2>&1 >/dev/null) ||
        problems+=("--recover failed: ${err##*$'\n'}")
    link=$(readlink "$base/VELA" 2>/dev/null)
    linked=${link#/Applications/Quillmark/VELA-Ver}
    linked=${linked%/}
    [ "$status" = 0 ] && [ "$linked" != "$new" ] && problems+=("exit 0 without $new linked")
    names=$(ls -A "$base" 2>/dev/null | tr '\n' ' ')
    case "$linked" in
        "$old") bundle=$built ;;
        "$new") bundle=$newBundle ;;
        *)  # a new installation that was undone leaves nothing
            [ -z "$names" ] || problems+=("the link names [$link], left: $names")
            [ -e "$vendor/VELA-device/VELA-device.offline-mode" ] &&
                problems+=("an offline flag without an installation")
            bundle=""
            ;;
    esac
    if [ -n "$bundle" ]; then
        [ "$names" = "VELA VELA-Ver$linked " ] || problems+=("left: $names")
        [ -f "$root/Library/LaunchAgents/com.quillmark.VELA.plist" ] || problems+=("no agent")
        # What a copy that never reached the disk leaves; --verify compares every byte.
        empty=$(find "$base/VELA-Ver$linked" -type f -empty | wc -l)
        [ "$empty" = 0 ] || problems+=("$empty empty files")
        run "$bundle" "$root" --verify >/dev/null 2>&1 || problems+=("--verify: not intact")
    fi
    [ -e "$vendor/.install-journal" ] && problems+=("a journal is left")
    local stray
    stray=$(find "$root" \( -name '*.old' -o -name '.*.new-*' \) 2>/dev/null | tr '\n' ' ')
    [ -z "$stray" ] || problems+=("left behind: $stray")
    declare -F beyond >/dev/null && beyond
    run "$newBundle" "$root" >/dev/null 2>&1 || problems+=("a reinstall failed")
    ran=$((ran + 1))
    if [ ${#problems[@]} -eq 0 ]; then
        held=$((held + 1))
    else
        failures+=("$what: ${problems[*]}")
    fi
}

report() {  # the table's name
    echo "$1: $ran positions run, $held held"
    for failure in "${failures[@]}"; do
        echo "  did not hold: $failure"
    done
    [ ${#failures[@]} -eq 0 ]
}
