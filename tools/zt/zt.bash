# Completion of zt in bash: source this file, or install it as
# /usr/share/bash-completion/completions/zt.

_zt()
{
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local devices="display display_bl keypad_bl encoder_bl rgb_led beeper keypad encoder touch console
        output0 output1 output2 cam_output video0 input0 input1 input2 input3 status_led1 status_led2"
    local fields="field-0 product-type product-variant field-6 field-8 part-number
        customer-part-number serial-number field-16 field-17 field-19 field-21 field-23 field-25"
    local reading="--json --wait --help"
    local words=
    COMPREPLY=()

    if [ "$before" = --interface ]; then
        words="eth0 eth1 eth2 eth3"
    elif [ "$COMP_CWORD" -eq 1 ]; then
        words="info power health eeprom net copy ipc socket decode explain run ps --help --version"
    elif [ "$COMP_CWORD" -eq 2 ]; then
        case ${COMP_WORDS[1]} in
        info) words=$reading ;;
        power) words="state timeout propagation device watch --help" ;;
        health) words="get set --help" ;;
        eeprom) words="$fields $reading" ;;
        net) words="show set --help" ;;
        ipc | socket) words="listen send --help" ;;
        explain) words="--json --help" ;;
        esac
    else
        case "${COMP_WORDS[1]} ${COMP_WORDS[2]}" in
        "power state") words="0 1 2 3 5 6 $reading" ;;
        "power timeout") words="1 2 silent-on $reading" ;;
        "power device") words="$devices $reading" ;;
        "power propagation" | eeprom* | info*) words=$reading ;;
        "power watch") words="--count --json --time --help" ;;
        "health get") words="value-20 value-26 value-29 value-32 $reading" ;;
        "health set") words="value-20 value-26 value-29 value-32 --wait --help" ;;
        "net show") words="--interface --json --help" ;;
        "net set") words="--address --netmask --gateway --interface --help" ;;
        "ipc listen") words="--count --json --help" ;;
        "ipc send") words="--header1 --header2 --from --answer --json --wait --help" ;;
        "socket listen") words="--address --port --count --json --help" ;;
        "socket send") words="--address --port --type --flag --parameters --answer --json --wait --help" ;;
        esac
    fi
    if [ "${COMP_WORDS[1]}" = decode ] && [ "$COMP_CWORD" -gt 1 ]; then
        case $word in
        -*) words="--json --mermaid --svg --port --help" ;;
        *) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
        esac
    fi
    if [ "${COMP_WORDS[1]}" = copy ] && [ "$COMP_CWORD" -gt 1 ]; then
        case $word in
        -*) words="--move --help" ;;
        *) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
        esac
    fi
    if [ -n "$words" ]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
    fi
}
complete -o default -F _zt zt
