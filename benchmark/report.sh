#!/usr/bin/env bash
# Makes the tables from the results of ../bench and prints them: report.sh RESULTS [DOCS]. With DOCS, also writes the
# tables between the marks of DOCS/benchmark.md, and the plot into DOCS/benchmark.svg.
set -u
results=$1 docs=${2:-}

# summarise FILE: prints one line for each kind of request in a file of rounds: name, medians of service and bare
# server, median and quartiles of the ratio (service / bare) over the rounds, medians of the 99th percentiles.
summarise() {
    local file=$1 name
    cut -f 1 "$file" | awk '!seen[$0]++' | while IFS= read -r name; do
        awk -F '\t' -v name="$name" '
            function quantile(values, part,   i, j, v) {
                for (i = 2; i <= n; ++i)
                    for (j = i; j > 1 && values[j - 1] > values[j]; --j) {
                        v = values[j]; values[j] = values[j - 1]; values[j - 1] = v
                    }
                return values[int(1 + part * (n - 1) + 0.5)]
            }
            $1 == name {
                ++n
                ours[n] = $2; bare[n] = $3; ours99[n] = $4; bare99[n] = $5
                ratio[n] = $2 / $3
            }
            END {
                OFS = "\t"
                print name, quantile(ours, 0.5), quantile(bare, 0.5), quantile(ratio, 0.5), quantile(ratio, 0.25),
                    quantile(ratio, 0.75), quantile(ours99, 0.5), quantile(bare99, 0.5)
            }' "$file"
    done
}

tables() {
    echo '| Request | Service | Bare | Service / bare (quartiles) | Limit | 99 %: service | bare |'
    echo '|---|---|---|---|---|---|---|'
    awk -F '\t' '
        function ms(us) { return sprintf(us < 9995 ? "%.2f ms" : "%.1f ms", us / 1000) }
        {
            limit = $1 ~ /reply alone/ ? 1.1 : 1.02
            printf "| %s | %s | %s | **%.3f** (%.3f to %.3f) | %.2f%s | %s | %s |\n", $1, ms($2), ms($3), $4, $5, $6,
                limit, ($4 > limit ? ", missed" : ""), ms($7), ms($8)
        }
    ' "$results/summary.tsv"
    echo
    echo '| | Service | Bare | Service / bare (quartiles), or difference |'
    echo '|---|---|---|---|'
    summarise "$results/load.tsv" | awk -F '\t' \
        '{ printf "| Requests per second, 8 clients at once (more is better) | %.0f | %.0f | **%.3f** (%.3f to %.3f) |\n", $2, $3, $4, $5, $6 }'
    summarise "$results/start.tsv" | awk -F '\t' \
        '{ printf "| Start to first answer | %.0f ms | %.0f ms | **%.3f** (%.3f to %.3f) |\n", $2 / 1000, $3 / 1000, $4, $5, $6 }'
    awk -F '\t' '{ printf "| Private memory, %s | %d KB | %d KB | %+d KB |\n", $1, $2, $3, $2 - $3 }' "$results/memory.tsv"
    echo
    echo '| Program, without symbols | x64 | ARM64 |'
    echo '|---|---|---|'
    awk -F '\t' '{ size[$2, $1] = sprintf("%.0f KB", $3 / 1024) }
        function row(name) {
            printf "| %s | %s | %s |\n", name, size[name, "x64"], size[name, "arm64"] ? size[name, "arm64"] : "not built"
        }
        END { row("tessel-service"); row("tesselctl") }' "$results/sizes.tsv"
}

plot() {
    local rows
    rows=$(grep -c . "$results/summary.tsv")
    gnuplot <<END
set terminal svg size 760,380 font "sans-serif,13" background rgb "white"
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
tables >"$results/tables.md"
cat "$results/tables.md"
[ -n "$docs" ] || exit 0
plot "$docs/benchmark.svg" || exit 1
sed -i -e '/<!-- begin: figures -->/,/<!-- end: figures -->/{//!d}' \
    -e "/<!-- begin: figures -->/r $results/tables.md" "$docs/benchmark.md"
