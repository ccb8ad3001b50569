# The table of figures: quotients of medians against their limits. Ends with 1 when one is missed.
def spaces($count): " " * ([$count, 0] | max) // "";
def left($width): . + spaces($width - length);
def right($width): spaces($width - length) + .;
def decimals: (. * 100 | round) as $n | "\($n / 100 | floor).\("0\($n % 100)"[-2:])";
def milliseconds: . / 1e6 | if . < 0.1 then "\(. * 1e6 | round) ns" else "\(decimals) ms" end;

add as $medians |
[
    {figure: "securities pass, 60,000, over parsing alone", of: "Pass/60000", over: "PlainParse/60000", limit: 4},
    {figure: "securities pass, 60,000 over 6,000", of: "Pass/60000", over: "Pass/6000", limit: 11},
    {figure: "key read during commits over a map", of: "ReadKeyDuringCommits", over: "LookUpInMap", limit: 2},
    {figure: "commit of 100,000 keys over a map", of: "CommitKeys", over: "FillMap", limit: 2},
    {figure: "contract load, 100,000, over reading its files", of: "LoadContractList/100000", over: "ReadFiles/100000",
        limit: 2},
    {figure: "contract load, 1,000,000 over 100,000", of: "LoadContractList/1000000",
        over: "LoadContractList/100000", limit: 11},
    {figure: "search rows of 100,000 over binding them", of: "BuildSymbols/100000", over: "BindSymbols/100000",
        limit: 1.5},
    {figure: "search rows, 1,000,000 over 100,000", of: "BuildSymbols/1000000", over: "BuildSymbols/100000", limit: 11},
    {figure: "test of 8 servers, 4 silent, over one answer", of: "LatencyTest", over: "OneAnswer", limit: 2.8},
    {figure: "1,000,000 reply lines over scanning them", of: "DecodeReply/1000000", over: "ScanReply/1000000",
        limit: 8},
    {figure: "reply lines, 1,000,000 over 100,000", of: "DecodeReply/1000000", over: "DecodeReply/100000", limit: 11},
    {figure: "3,000 roll files compared over reading them", of: "ProcessRequeryData", over: "ReadRollFiles", limit: 3}
] |
map(if $medians[.of] and $medians[.over] then . else error("no median of \(.of) or \(.over)") end |
    .value = $medians[.of] / $medians[.over]) |
("figure" | left(46)) + ("value" | right(8)) + ("limit" | right(8)) + ("median" | right(14)) + ("over" | right(14)),
(.[] | (.figure | left(46)) + (.value | decimals | right(8)) + (.limit | tostring | right(8)) +
    ($medians[.of] | milliseconds | right(14)) + ($medians[.over] | milliseconds | right(14)) +
    (if .value <= .limit then "" else "  MISSED" end)),
if all(.value <= .limit) then "every figure keeps its limit" else "a figure misses its limit\n" | halt_error(1) end
