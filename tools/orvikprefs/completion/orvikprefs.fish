# Completion of orvikprefs(1) for fish. The program itself computes the offers.

function __orvikprefs_complete
    set -l words (commandline -opc)
    # The incomplete word without its quotes.
    set -l current (commandline -ct | string replace -r -- '^["\']' '' | string unescape)
    set -l program $words[1]
    set -e words[1]
    set -l found ($program -z complete -- $words "$current" 2>/dev/null | string split0)
    if test "$found[1]" = files
        __fish_complete_path "$current"
        return
    end
    # Offers of values for "--scope=" include this prefix.
    set -l before (string match -r -- '^--[^=]*=' "$current")
    for candidate in $found[2..-1]
        printf '%s\n' "$before$candidate"
    end
end

complete -c orvikprefs -f -a '(__orvikprefs_complete)'
