# Completion of corvane-nmctl for fish. What it offers comes from the program's own --help.
function __corvane_nmctl_command
    for word in (commandline -opc)[2..-1]
        if not string match -q -- '-*' $word
            echo $word
            return
        end
    end
end
function __corvane_nmctl_options
    corvane-nmctl (__corvane_nmctl_command) --help 2>/dev/null | string match -ra -- '--[a-z][a-z-]*' | sort -u
end
function __corvane_nmctl_browsers
    corvane-nmctl list --help 2>/dev/null | string replace -rf '^Names of browsers: ' '' | string split ' '
end
complete -c corvane-nmctl -f
complete -c corvane-nmctl -n 'test -z (__corvane_nmctl_command)' -a '(corvane-nmctl --help 2>/dev/null | string match -r "^  [a-z][a-z-]* " | string trim)'
complete -c corvane-nmctl -n 'string match -q -- "-*" (commandline -ct)' -a '(__corvane_nmctl_options)'
complete -c corvane-nmctl -n 'string match -q -- --browser (commandline -opc)[-1]' -a '(__corvane_nmctl_browsers)'
complete -c corvane-nmctl -n 'string match -q -- --level (commandline -opc)[-1]' -a 'error warning info debug verbose'
complete -c corvane-nmctl -n 'string match -q report (__corvane_nmctl_command)' -F
complete -c corvane-nmctl -n 'string match -q new-extension (__corvane_nmctl_command)' -a '(__fish_complete_directories (commandline -ct))'
