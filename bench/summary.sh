#!/bin/sh
# Runs each workload next to the library an application would pick instead
# and prints one line per workload: both figures and their ratio.
#   summary.sh BENCH_DIR [MIN_TIME_SECONDS] [REPETITIONS]
set -eu
dir=$1
min_time=${2:-0.05}
reps=${3:-3}

# workload | program | ours | alternative's benchmark | alternative | measure | target
races='encode a 1000-child document|bench_xml|BM_EncodeWide/1000|BM_PugiSaveWide/1000|pugixml save, tab-indented|time|1.5
decode a 1 KB request and walk it|bench_xml|BM_DecodeTypical|BM_PugiParseTypical|pugixml in-place parse + walk|time|2.0
mailbox, 4 posters, 64-byte messages|bench_message|BM_MessageFourPosters/64/real_time|BM_DequeFourPosters/64/real_time|mutex + std::deque<std::vector<char>>|time|1.0
SIP cutting over loopback|bench_tcp_fc_cut|BM_SipCut/real_time|BM_SipPlainRecv/real_time|plain recv() loop|throughput|0.7
TPKT cutting over loopback|bench_tcp_fc_cut|BM_TpktCut/real_time|BM_TpktPlainRecv/real_time|plain recv() loop|throughput|0.85
FIFO push + pull of 1M pointers|bench_fifo|BM_FifoPushPull|BM_StdListPushPull|std::list<void*>|time|1.0'

out=$(mktemp)
trap 'rm -f "$out"' EXIT
for program in $(printf '%s\n' "$races" | cut -d'|' -f2 | sort -u); do
  names=$(printf '%s\n' "$races" | awk -F'|' -v p="$program" '$2 == p { print $3; print $4 }' |
          sed 's|/real_time$||' | paste -sd'|')
  # Aggregates only when repeating: the median row then stands for each.
  "$dir/$program" --benchmark_filter="^($names)(/real_time)?\$" --benchmark_min_time="$min_time" \
    --benchmark_repetitions="$reps" --benchmark_report_aggregates_only=true \
    --benchmark_format=csv 2>/dev/null >> "$out"
done

echo
echo "== ours next to the alternative (median of $reps, at least ${min_time}s each)"
printf '%s\n' "$races" | awk -F'|' -v csv="$out" -v reps="$reps" '
  function ns(t, unit) { return t * (unit == "s" ? 1e9 : unit == "ms" ? 1e6 : unit == "us" ? 1e3 : 1) }
  function show(t) { return t >= 1e6 ? sprintf("%.2f ms", t / 1e6) : sprintf("%.1f us", t / 1e3) }
  BEGIN {
    while ((getline line < csv) > 0) {
      n = split(line, f, ",")
      name = f[1]; gsub(/"/, "", name)
      if (reps > 1) { if (name !~ /_median$/) continue; sub(/_median$/, "", name) }
      # Wall time for the threaded and network runs, CPU time elsewhere.
      time[name] = ns(name ~ /real_time$/ ? f[3] : f[4], f[5])
    }
  }
  {
    ours = time[$3]; alt = time[$4]
    if (ours == "" || alt == "") { printf "%-38s missing a figure\n", $1; next }
    if ($6 == "time")
      printf "%-38s ours %9s   %-38s %9s   ratio %.2fx (target <= %sx)\n", $1, show(ours), $5, show(alt), ours / alt, $7
    else
      printf "%-38s ours %9s   %-38s %9s   %.2f of its throughput (target >= %s)\n", $1, show(ours), $5, show(alt), alt / ours, $7
  }'
