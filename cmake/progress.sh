# Sourced by the scripts: watch NAME LOG COMMAND... runs a command, all of whose output goes to the log, and shows on
# standard error what it is doing: on a terminal its last line, once a second, else its name.
watch() {
    local name=$1 file=$2 ticker='' status=0
    shift 2
    : >"$file"
    if [ -t 2 ]; then
        tick "$name" "$file" &
        ticker=$!
    else
        echo "        $name ..." >&2
    fi
    "$@" >"$file" 2>&1 </dev/null || status=$?
    if [ -n "$ticker" ]; then
        kill "$ticker"
        wait "$ticker" 2>/dev/null || true
        printf '\r\033[K' >&2
    fi
    return $status
}

# As long as the script lives, which may be killed.
tick() {
    local begin=$SECONDS line
    while kill -0 $$ 2>/dev/null; do
        line=$(tail -c 2000 "$2" | tr '\r' '\n' | grep -a '[^[:space:]]' | tail -n 1 | tr -cd '[:print:]')
        line="... $1, $((SECONDS - begin)) s  $line"
        printf '\r\033[K%s' "${line:0:$(tput cols 2>/dev/null || echo 80)-1}" >&2
        sleep 1
    done
}
