#!/bin/sh
# Runs the tevra tool and the standard tools on the same generated files and
# prints, per task, the best wall time of a few runs and the peak resident
# memory of each, and their ratios (tevra / standard tool; below 1 is better).
# The outputs of each pair are compared where the formats agree.
#
# usage: bench/cli_vs_tools.sh [TEVRA] [SIZE_MB] [RUNS]
#   TEVRA    the tool (default build/release/tools/tevra)
#   SIZE_MB  size of the generated inputs (default 50)
#   RUNS     runs per command, the fastest counts (default 3)
set -eu

tevra=$(realpath "${1:-build/release/tools/tevra}")
size_mb=${2:-50}
runs=${3:-3}
bytes=$((size_mb * 1000000))
work=$(mktemp -d "${TMPDIR:-/tmp}/tevra-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

for tool in base64 xxd iconv /usr/bin/time; do
    command -v "$tool" >/dev/null || { echo "missing: $tool" >&2; exit 1; }
done

# --- inputs ---
head -c "$bytes" /dev/urandom > random.bin
base64 random.bin > random.b64
xxd -p random.bin > random.hex
# Text: whole lines of mixed scripts, about SIZE_MB megabytes of UTF-8.
line='Grüße aus Köln, naïve café; Ελληνικά κείμενα; Русский текст; 日本語のテキストと漢字; 中文文本; 한국어 텍스트; emoji 😀🎉; plain ASCII words follow here.'
line_bytes=$(printf '%s\n' "$line" | wc -c)
yes "$line" | head -n $((bytes / line_bytes)) > text.u8
iconv -f UTF-8 -t UTF-16LE text.u8 > text.u16
iconv -f UTF-8 -t GB18030 text.u8 > text.gb
latin='Grüße aus Köln, naïve café, señor, façade, Æsir, Øresund; plain ASCII words follow.'
latin_bytes=$(printf '%s\n' "$latin" | iconv -f UTF-8 -t ISO-8859-1 | wc -c)
yes "$latin" | head -n $((bytes / latin_bytes)) | iconv -f UTF-8 -t ISO-8859-1 > text.l1

# best_of CMD...: prints "seconds kilobytes" of the fastest run; output in out.last
best_of() {
    best_s=""
    best_kb=""
    i=0
    while [ "$i" -lt "$runs" ]; do
        /usr/bin/time -f "%e %M" -o time.txt "$@" > out.last
        read -r s kb < time.txt
        if [ -z "$best_s" ] || [ "$(echo "$s < $best_s" | bc)" = 1 ]; then best_s=$s; fi
        if [ -z "$best_kb" ] || [ "$kb" -gt "$best_kb" ]; then best_kb=$kb; fi
        i=$((i + 1))
    done
    echo "$best_s $best_kb"
}

ratio() {
    if [ "$(echo "$2 == 0" | bc)" = 1 ]; then echo "-"; else echo "scale=2; $1 / $2" | bc; fi
}

printf '%-28s %9s %9s %7s %10s %10s %7s  %s\n' task "tevra s" "tool s" ratio \
    "tevra MB" "tool MB" ratio "same output"
# compare TASK SAME TEVRA-COMMAND TOOL-COMMAND (commands as words without
# quoting; SAME: yes when both must write the same bytes)
compare() {
    # shellcheck disable=SC2046,SC2086
    set -- "$1" "$2" $(best_of $3) "$4"
    mv out.last out.tevra
    # shellcheck disable=SC2046,SC2086
    set -- "$1" "$2" "$3" "$4" $(best_of $5)
    same="-"
    if [ "$2" = yes ]; then
        if cmp -s out.tevra out.last; then same=yes; else same=NO; fi
    fi
    printf '%-28s %9s %9s %7s %10s %10s %7s  %s\n' "$1" "$3" "$5" "$(ratio "$3" "$5")" \
        "$(echo "scale=1; $4 / 1000" | bc)" "$(echo "scale=1; $6 / 1000" | bc)" \
        "$(ratio "$4" "$6")" "$same"
}

compare "base64 encode" yes "$tevra base64 encode --line 76 random.bin" "base64 random.bin"
compare "base64 decode" yes "$tevra base64 decode random.b64" "base64 -d random.b64"
compare "hex encode" no "$tevra hex encode random.bin" "xxd -p random.bin"
compare "hex decode" yes "$tevra hex decode random.hex" "xxd -r -p random.hex"
for route in "UTF-8 UTF-16LE text.u8" "UTF-16LE UTF-8 text.u16" "UTF-8 UTF-32BE text.u8" \
    "ISO-8859-1 UTF-8 text.l1" "UTF-8 GB18030 text.u8" "GB18030 UTF-8 text.gb"; do
    # shellcheck disable=SC2086
    set -- $route
    compare "convert $1 > $2" yes "$tevra convert --from $1 --to $2 $3" "iconv -f $1 -t $2 $3"
done
