#!/usr/bin/env bash
# Makes the tables from the results of ../bench and prints them: report.sh RESULTS [DOCS]. With DOCS, also writes the
# tables between the marks of DOCS/benchmark.md, and the plot into DOCS/benchmark.svg.
set -u
results=$1 docs=${2:-}

# For awk: sorts values[1] to values[n] and returns the value below which that part of them is.
quantile='function quantile(values, n, part,   i, j, v) {
    for (i = 2; i <= n; ++i)
        for (j = i; j > 1 && values[j - 1] > values[j]; --j) {
            v = values[j]; values[j] = values[j - 1]; values[j - 1] = v
        }
    return values[int(1 + part * (n - 1) + 0.5)]
}'

# summarise FILE: prints one line for each name in a file of rounds: name, medians of service and bare server, median
# and quartiles of the ratio (service / bare) over the rounds, medians of the 99th percentiles.
summarise() {
    local file=$1 name
    cut -f 1 "$file" | awk '!seen[$0]++' | while IFS= read -r name; do
        awk -F '\t' -v name="$name" "$quantile"'
            $1 == name {
                ++n
                ours[n] = $2; bare[n] = $3; ours99[n] = $4; bare99[n] = $5
                ratio[n] = $2 / $3
            }
            END {
                OFS = "\t"
                print name, quantile(ours, n, 0.5), quantile(bare, n, 0.5), quantile(ratio, n, 0.5),
                    quantile(ratio, n, 0.25), quantile(ratio, n, 0.75), quantile(ours99, n, 0.5),
                    quantile(bare99, n, 0.5)
            }' "$file"
    done
}

# For awk: a ratio with its quartiles, bold if 1 is not between them.
ratio='function ratio(median, low, high) {
    return sprintf(low > 1 || high < 1 ? "**%.3f** (%.3f to %.3f)" : "%.3f (%.3f to %.3f)", median, low, high)
}'

request_table() {
    echo '| Request | Service | Bare | Service / bare (quartiles) | Limit | 99 %: service | bare |'
    echo '|---|---|---|---|---|---|---|'
    awk -F '\t' "$ratio"'
        function ms(us) { return sprintf(us < 9995 ? "%.2f ms" : "%.1f ms", us / 1000) }
        {
            limit = $1 ~ /reply alone/ ? 1.1 : 1.02
            printf "| %s | %s | %s | %s | %.2f%s | %s | %s |\n", $1, ms($2), ms($3), ratio($4, $5, $6), limit,
                ($4 > limit ? ", missed" : ""), ms($7), ms($8)
        }' "$results/summary.tsv"
}

# own_medians: prints for each kind of our own work: name, median and quartiles of the nanoseconds, allocations,
# instructions.
own_medians() {
    local name
    cut -f 1 "$results/instructions.tsv" | while IFS= read -r name; do
        awk -F '\t' -v name="$name" "$quantile"'
            BEGIN { OFS = "\t" }
            $1 != name { next }
            NF == 2 { instructions = $2 }
            NF == 3 { time[++n] = $2; allocations = $3 }
            END {
                print name, quantile(time, n, 0.5), quantile(time, n, 0.25), quantile(time, n, 0.75), allocations,
                    instructions
            }' "$results/own.tsv" "$results/instructions.tsv"
    done
}

own_tables() {
    echo '| Our own code | Time (quartiles) | Allocations | ARM64 instructions |'
    echo '|---|---|---|---|'
    awk -F '\t' '
        /^[A-Z]+_|^the same|^unknown/ {
            printf "| %s | %.0f ns (%.0f to %.0f) | %d | %.0f |\n", $1, $2, $3, $4, $5, $6
        }
        /^a byte/ { printf "| %s | %.2f ns (%.2f to %.2f) | | %.2f |\n", $1, $2, $3, $4, $6 }
    ' "$results/own_medians.tsv"
    echo
    echo '| What the service does and the bare server does not, in a request without work | Time |'
    echo '|---|---|'
    awk -F '\t' '
        function row(text, value) { printf "| %s | %.0f ns |\n", text, value }
        { time[$1] = $2 }
        END {
            row("asks the switch of the log", time["log"])
            row("measures the command and searches the tables of all families", time["unknown command"] - time["log"])
            row("measures it again, searches the table of its family, fills in the answer and sends it",
                time["handler"] - time["action"])
            row("looks for a text of the last answer, and runs the action in a try block", time["action"])
            row("together, measured as one", time["REGISTRYHELPER_ISVZWQ"])
        }' "$results/own_medians.tsv"
}

other_tables() {
    echo '| | Service | Bare | Service / bare (quartiles) |'
    echo '|---|---|---|---|'
    awk -F '\t' "$ratio"'
        function row(name, form) { printf "| %s | " form " | " form " | %s |\n", name, $2, $3, ratio($4, $5, $6) }
        FNR == NR { row("Requests per second, 8 clients at once (more is better)", "%.0f"); next }
        { row("Private memory, " $1, "%d KB") }' <(summarise "$results/load.tsv") <(summarise "$results/memory.tsv")
    echo
    echo '| A request without work | Time |'
    echo '|---|---|'
    summarise "$results/kit.tsv" | awk -F '\t' '{
        printf "| through tesselclient.dll, to the service | %.2f ms |\n", $2 / 1000
        printf "| call on an open context, to the bare server | %.2f ms |\n", $3 / 1000
        printf "| tesselclient.dll / call (quartiles) | %.2f (%.2f to %.2f) |\n", $4, $5, $6
    }'
    echo
    echo '| Program, without symbols | x64 | ARM64 |'
    echo '|---|---|---|'
    awk -F '\t' '{ size[$2, $1] = sprintf("%.0f KB", $3 / 1024) }
        function row(name) { printf "| %s | %s | %s |\n", name, size[name, "x64"], size[name, "arm64"] }
        END { row("tessel-service"); row("tesselctl") }' "$results/sizes.tsv"
}

plot() {
    local rows
    rows=$(grep -c . "$results/summary.tsv")
    gnuplot <<END
set terminal svg size 760,400 font "sans-serif,13" background rgb "white"
set output "$1"
set datafile separator "\t"
set title "Time of a request: service / bare server"
set xrange [0.9:1.2]
set yrange [$rows-0.3:-0.7]
set xtics ("0.9" 0.9, "0.95" 0.95, "1" 1, "1.05" 1.05, "1.1" 1.1, "1.15" 1.15, "1.2" 1.2)
set grid xtics lt 1 lc rgb "#dddddd"
set key off
set arrow from 1,graph 0 to 1,graph 1 nohead lc rgb "#777777"
set arrow from 1.02,graph 0 to 1.02,graph 1 nohead dt 2 lc rgb "#777777"
plot "$results/summary.tsv" using 4:0:5:6:ytic(1) title "ratio" with xerrorbars pt 7 ps 0.8 lc rgb "#1f6fb4"
END
}

summarise "$results/requests.tsv" >"$results/summary.tsv"
own_medians >"$results/own_medians.tsv"
{
    request_table
    echo
    own_tables
    echo
    other_tables
} >"$results/tables.md"
cat "$results/tables.md"
[ -n "$docs" ] || exit 0
plot "$docs/benchmark.svg" || exit 1
sed -i -e '/<!-- begin: figures -->/,/<!-- end: figures -->/{//!d}' \
    -e "/<!-- begin: figures -->/r $results/tables.md" "$docs/benchmark.md"
