# What the host showed at the end of a start, for a person. Input: all lines of the host.
def columns: explode | map(if . >= 11904 and . <= 65500 then 2 else 1 end) | add // 0;
def pad($n): . + ((" " * ([$n - columns, 0] | max)) // "");
def lpad($n): tostring | ((" " * ([$n - length, 0] | max)) // "") + .;
def cut($n): if length > $n then .[:$n - 3] + "..." else . end;
def reply($name): map(select(.reply == $name)) | last;
def dump($name): reply("dump " + $name) | .dump // {values: {}, rows: [], tables: {}};
def sample($name; $n): dump($name).values | to_entries | .[:$n]
    | map("\(.key) = \(.value | tostring | cut(44))") | join("   ");
def table($name; $what):
    "    \($name | pad(19))\(dump($name).values | length | lpad(6)) \($what | pad(28)) \(sample($name; 1))";

dump("Security.Info") as $info
| dump("OpenTimeExchange").values as $open
| ([$info.tables[].values | length] | add // 0) as $count
| "  Security.Info: \($count) securities in \($info.rows | length) groups, such as",
  (($info.rows | map(select(. == ("QV.F.CME", "QV.F.CFFEX", "QV.S.SSE")))[]) as $group
   | "    \($group | pad(19))\($info.tables[$group].values | length | lpad(6)) "
     + "securities, sessions begin at \($open[$group] // "") UTC"),
  "  Tables drawn from them",
  table("orderExchange"; "order routes"),
  table("Underlying.List"; "products with an underlying"),
  table("OptionStyle"; "option products"),
  "  Symbols in the search database, hot ones and synthetic underlyings too: "
    + ([("QV.F.", "QV.O.", "QV.S.") as $class | "\(reply("count " + $class) | .symbols.total // 0) "
        + {"QV.F.": "futures", "QV.O.": "options", "QV.S.": "stocks"}[$class]] | join(", ")),
  table("ExpireDate"; "expiry days"),
  table("LongMarginRate"; "margins"),
  table("HOTMONTHTABLE"; "hot contracts, both ways"),
  table("NEARMONTHTABLE"; "near contracts, both ways"),
  table("NearbyMonth"; "monthly contracts of CFFEX"),
  table("Symbol.Search.Name"; "instruments, both ways"),
  table("CurrencyExchangeRate"; "rates of \(dump("CurrencyExchangeRate").rows[0] // "no day")"),
  table("CurrencyMapping"; "currency pairs"),
  table("Holiday"; "days with a holiday"),
  "  AppsTradePermission: " + sample("AppsTradePermission"; 3),
  "",
  "  Looked up in the database",
  (.[] | select(.reply and (.reply | tostring | startswith("find "))) | .reply as $find | .symbols
   | "    \($find | pad(12))\(.total // 0 | lpad(5)) symbols, such as "
     + (.rows // [] | map("\(.symbol) \(.name)") | join(", "))),
  "",
  (reply("card QV.F.CME.ES.202612") | .card // {} | select(.symbol)
   | "  \(.symbol), as the host's card has it",
     (to_entries[] | select(.key != "symbol" and .value != null and .key != "note")
      | "    \(.key | pad(14)) \(.value | if type == "array" then join(", ") else tostring end)")),
  (reply("card QV.S.SSE.600519") | .card // {} | select(.symbol)
   | "  \(.symbol) \(.name): an order buys at most \(.buy_limit // "any number") in steps of \(.buy_unit // 1), "
     + "sells at most \(.sell_limit // "any number") in steps of \(.sell_unit // 1)"),
  "",
  "  The pickers' tree, from the shared block",
  "    " + (reply("tree ") | .names.rows // [] | map("\(.name) \(.count)") | join("   ")),
  (reply("tree FUTURES") | .names.rows // [] | .[] | "    FUTURES.\(.name | pad(16)) \(.local_name // "" | pad(14)) \(.count)"),
  "    FUTURES.HOT.CME: " + (reply("tree FUTURES.HOT.CME") | .names | "\(.total // 0) contracts, such as "
     + (.rows // [] | .[:3] | map("\(.symbol) \(.name)") | join(", ")))
