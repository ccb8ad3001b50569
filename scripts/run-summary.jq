# The tables that the host dumped at the end of a start, for a person. Input: all lines of the host.
def pad($n): . + ((" " * ([$n - length, 0] | max)) // "");
def lpad($n): tostring | ((" " * ([$n - length, 0] | max)) // "") + .;
def cut($n): if length > $n then .[:$n - 3] + "..." else . end;
def dump($name): map(select(.reply == "dump " + $name)) | last | .dump // {values: {}, rows: [], tables: {}};
def rows($n): to_entries | .[:$n][] | "    \(.key | pad(26)) \(.value | tostring | cut(80))";
def table($name; $what; $n): dump($name).values | "", "  \($name): \(length) \($what)", rows($n);

dump("Security.Info") as $info
| dump("OpenTimeExchange").values as $open
| ([$info.tables[].values | length] | add // 0) as $count
| ($info.tables["QV.F.CME"].values["QV.F.CME.ES"] // [$info.tables[].values[]][0] // "{}" | fromjson) as $one
| (if $info.tables["QV.F.CME"].values["QV.F.CME.ES"] then "QV.F.CME.ES"
   else ([$info.tables[].values | keys[]][0] // "") end) as $key
| "  Security.Info: \($count) securities in \($info.rows | length) groups",
  "    \("group" | pad(16)) \("securities" | lpad(10))  sessions begin (UTC, from OpenTimeExchange)",
  ($info.rows[] | . as $group
   | "    \($group | pad(16)) \($info.tables[$group].values | length | lpad(10))  \($open[$group] // "" | cut(78))"),
  "",
  "  \($key), as the other modules read it:",
  ($one | to_entries[]
   | select(.key | test("^(Name\\.|TimeZone$|TradeTime$|OpenCloseTime$|NewFormatOCT$|ResetTime$|SettlementTime$|EXG$|Symbol\\.)"))
   | "    \(.key | pad(26)) \(.value)\(if .key | test("Time$|OCT$") then "  UTC" else "" end)"),
  table("orderExchange"; "routes, each with the exchanges that offer it"; 4),
  table("Underlying.List"; "products with an underlying"; 4),
  table("Underlying.F.List"; "options with an underlying future"; 3),
  table("OptionStyle"; "options (1: American)"; 3)
