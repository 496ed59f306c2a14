# Completion of ztsim in bash: source this file, or install it as
# /usr/share/bash-completion/completions/ztsim.

_ztsim_fields="serial-number= part-number= product-type= product-variant= field-0= field-6= field-8= field-16=
    field-17= field-19= field-21= field-25= value-20= value-26= value-29= value-32="
_ztsim_devices="display= display_bl= keypad_bl= encoder_bl= rgb_led= beeper= keypad= encoder= touch= console=
    output0= output1= output2= cam_output= video0= input0= input1= input2= input3= status_led1= status_led2="
_ztsim_power_faults="hang-up short-record unknown-type unknown-device silence"
_ztsim_health_faults="hang-up short-record unknown-type unterminated silence"

# What may stand behind the words of a command so far.
_ztsim_ctl()
{
    case "$*" in
    "") echo "power timeout propagation device health hang-up power-fault health-fault slow deaf await count
        records show watch list --pid --name --help" ;;
    power) echo "0 1 2 3 4 5 6 --json" ;;
    timeout) echo "0 1 2 3 4 5" ;;
    device) echo "${_ztsim_devices//=/}" ;;
    health) echo "${_ztsim_fields//=/}" ;;
    hang-up | "slow "* | "deaf "*) echo "power health" ;;
    power-fault) echo "$_ztsim_power_faults none" ;;
    health-fault) echo "$_ztsim_health_faults none" ;;
    deaf) echo "on off" ;;
    await | count | records) echo "power timeout propagation device health type" ;;
    "await "*) echo "--wait --since-start" ;;
    show | watch | list | propagation | "timeout "? | "device "* | "health "* | "count "* | "records "*)
        echo "--json" ;;
    esac
}

# _ztsim_running COLUMN: of the devices that run, the processes or the names.
_ztsim_running()
{
    "${COMP_WORDS[0]}" ctl list 2>/dev/null | cut -d ' ' -f "$1" | grep -vx -e -
}

_ztsim()
{
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local words= index
    COMPREPLY=()
    for ((index = 1; index < COMP_CWORD; index++)); do
        if [ "${COMP_WORDS[index]}" = -- ]; then
            if declare -F _command_offset >/dev/null; then
                _command_offset $((index + 1))
            else
                mapfile -t COMPREPLY < <(compgen -c -- "$word")
            fi
            return
        fi
    done

    if [ "${COMP_WORDS[1]}" = ctl ] && [ "$COMP_CWORD" -gt 1 ]; then
        local start=2
        [[ ${COMP_WORDS[2]} == --pid || ${COMP_WORDS[2]} == --name ]] && start=4
        if [ "$start$before" = 4--pid ]; then
            words=$(_ztsim_running 1)
        elif [ "$start$before" = 4--name ]; then
            words=$(_ztsim_running 2)
        elif [ "$COMP_CWORD" -ge "$start" ]; then
            words=$(_ztsim_ctl "${COMP_WORDS[@]:start:COMP_CWORD-start}")
        fi
    else
        case $before in
        --script | --record | --capture | --capture-ipc | --log | --identity) compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
            return ;;
        --device) words=$_ztsim_devices ;;
        --health-field) words=$_ztsim_fields ;;
        --power-state) words="0 1 2 3 4 5" ;;
        --power-fault) words=${_ztsim_power_faults// /@ }@ ;;
        --health-fault) words=${_ztsim_health_faults// /@ }@ ;;
        --eeprom) words="open locked absent" ;;
        --way) words="namespaces preload machine" ;;
        --name | --ready-fd | --lifeline-fd | --seed | --web) ;;
        --speed) words="0 1 10 100" ;;
        *) words="--verbose --log --time --name --ready-fd --lifeline-fd --way --no-eth0 --script --speed --record --capture --capture-ipc --web --seed --no-power-daemon --power-state --power-timeout
            --propagation-time --device --power-fault --power-away --no-health-daemon --identity --health-field
            --eeprom --health-fault --health-away --help --version --"
            [ "$COMP_CWORD" -eq 1 ] && words="ctl $words" ;;
        esac
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
    if [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *[=@] ]]; then
        compopt -o nospace 2>/dev/null
    fi
}
complete -F _ztsim ztsim
