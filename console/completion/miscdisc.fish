# Completion of miscdisc in fish.  What is offered, the command itself says.

function __miscdisc_next
    set -l words (commandline -opc)
    set -l program $words[1]
    set -l current (commandline -ct | string unescape 2>/dev/null; or commandline -ct)
    set -e words[1]
    set -l answer ($program completion fish --next -- $words "$current" 2>/dev/null)
    set -l value (string replace -r -- '^--[^=]*=' '' $current)
    set -l before (string replace -- $value '' $current)
    switch "$answer[1]"
        case files
            string replace -r -- '^' "$before" (__fish_complete_path $value)
        case folders
            string replace -r -- '^' "$before" (__fish_complete_directories $value '')
        case command
            set -l dashes (contains -i -- -- $words)
            set -e words[1..$dashes]
            complete -C (string join ' ' -- (string escape -- $words) $current)
    end
    printf '%s\n' $answer[2..-1]
end

complete -c miscdisc -f -a '(__miscdisc_next)'
