# Completion of orvikprefs(1) for fish. The program itself knows what may follow.

function __orvikprefs_complete
    set -l words (commandline -opc)
    # The unfinished word without its quotes.
    set -l current (commandline -ct | string replace -r -- '^["\']' '' | string unescape)
    set -l program $words[1]
    set -e words[1]
    set -l found ($program -z complete -- $words "$current" 2>/dev/null | string split0)
    if test "$found[1]" = files
        __fish_complete_path "$current"
        return
    end
    # The values of "--scope=" are offered with it.
    set -l before (string match -r -- '^--[^=]*=' "$current")
    for candidate in $found[2..-1]
        printf '%s\n' "$before$candidate"
    end
end

complete -c orvikprefs -f -a '(__orvikprefs_complete)'
