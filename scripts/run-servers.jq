# The servers in the order that the latency test gave them, for a person. Input: all lines of the host. $servers: their
# URLs, joined by "|"; $delays: what each of them adds to its answer, in milliseconds.
#
# The lines of the test name no server; its delay does: a latency belongs to the longest delay that fits into it.
def lpad($n): tostring | ((" " * ([$n - length, 0] | max)) // "") + .;
($servers | split("|")) as $urls
| ($delays | split(" ") | map(tonumber)) as $own
| map(select(.event == "WriteLog") | .line | ltrimstr("<Lumivale> ")) as $log
| [$log[] | select(startswith("Latency:")) | .[8:] | tonumber][-($urls | length):] as $latencies
| [$log[] | select(startswith("CountsOfGetQuery:")) | sub(".*="; "") | tonumber][-($urls | length):] as $intervals
| [range($latencies | length) | {latency: $latencies[.], handicap: $intervals[.]} | select(.latency < 9999)
   | .latency as $latency
   | .server = ([range($own | length) | select($own[.] <= $latency)] | max_by($own[.]))]
| if length == 0 then "  none answered: the service runs on what it has"
  else
    (sort_by(.latency + .handicap) | to_entries[]
     | "  \(.key + 1). server \(.value.server // 0 | . + 1), \($urls[.value.server // 0]): answered after "
       + "\(.value.latency | lpad(3)) ms, handicap of its place \(.value.handicap | lpad(3)) ms"),
    ($log | map(select(startswith("The fastest server:"))) | last // empty | "  " + .)
  end
