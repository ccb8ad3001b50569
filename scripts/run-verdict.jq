# What went wrong in a start, a line each; nothing when all is well. Input: all lines of the host. $mode: the start;
# $changed: what differs from the start before it, "user", "world" (the data served), "language" or
# nothing; $moved: a server isn't where it was; $fastest: the server that is to come first.
def logged($what): any(.[]; .event == "WriteLog" and (.line | test($what)));
def reply($name): map(select(.reply == $name)) | last;
def size($name; $section): reply("dump " + $name) | .dump[$section] // [] | length;
def downloads:
    {"the securities document": "QuerySecuritiesInfo have SecuritiesInfo",
     "a contract list": "QueryContractList-ServerVer:[^(]",
     "stock info": "QueryStkInfo-ServerVer:"};
def fetches: $mode == "first" or $changed == "user";
def stays: fetches or ($changed == "world" and $mode != "offline") | not;
def builds: fetches or $changed == "language";
[
    (("INIT", "START", "LOGIN") as $step
     | select(reply("status " + $step) | .ok and .result == 0 | not)
     | "\($step) ended with \(reply("status " + $step) | .result // .error // "no reply")"),
    (("OpenTimeExchange", "orderExchange", "Underlying.List", "Underlying.F.List", "OptionStyle", "Contract.List",
      "ExpireDate", "LongMarginRate", "ShortMarginRate", "HOTMONTHTABLE", "NEARMONTHTABLE", "NearbyMonth",
      "Symbol.Search.Name", "CurrencyMapping", "AppsTradePermission", "Holiday") as $table
     | select(size($table; "values") == 0)
     | "\($table) is empty"),
    # The rates aren't kept on disk.
    (select($mode != "offline" and size("CurrencyExchangeRate"; "values") == 0) | "CurrencyExchangeRate is empty"),
    (select($mode == "first")
     | (map(.event == "WriteLog" and (.line | contains("OnLumTimer ID:101"))) | index(true)) as $start
     | if $start == null then "no refresh began at the reset time"
       else .[$start:]
         | (("QuerySecuritiesInfo-SaveVer:", "QueryContractList-SaveVer:", "LoadSecuritiesInfo-End", "LoadContractList-End")
            as $line | select(logged($line) | not) | "the refresh has no \($line)"),
           (("Security.Info", "Contract.List") as $table
            | select(any(.[]; (.event == "OnReplace" or .event == "OnUpdate") and .table == $table) | not)
            | "who watches \($table) wasn't told of the refresh"),
           (select(reply("timers") | .refresh.passes == 1 and .refresh.running == false | not)
            | "the refresh didn't end")
       end),
    (("rows", "tables") as $section | select(size("Security.Info"; $section) == 0)
     | "Security.Info has no \($section)"),
    (select($mode != "offline" and (any(.[]; .event == "WriteLog" and (.line | endswith("The fastest server:" + $fastest)))
        | not)) | "\($fastest) wasn't found to be the fastest server"),
    (select(logged("LoadSecuritiesInfo-End") | not) | "no securities document was loaded"),
    (select(logged("LoadContractList-End") | not) | "no contract list was loaded"),
    (.[] | select(.event == "WriteLog" and (.line | contains("LoadContractList open file fail"))) | .line),
    (select(fetches) | . as $lines | downloads | to_entries[] | . as $one
     | select($lines | logged($one.value) | not)
     # Stock info that is on disk serves every user.
     | select($mode == "first" or .key != "stock info")
     | "\(.key) didn't come from the server"),
    (select(stays) | . as $lines | downloads | to_entries[] | . as $one
     | select($lines | logged($one.value))
     | "\(.key) was downloaded though nothing had changed"),
    (select($mode == "first" and (logged("GetHoliday Update:") | not)) | "the holidays weren't taken over"),
    (select(stays and logged("GetHoliday Update:")) | "the holidays were written anew though nothing had changed"),
    (select(builds and (logged("Update MakeSymbolLookupList GetRecordCount:[1-9]") | not))
     | "the search database wasn't built"),
    (select(stays and (builds | not) and logged("Update MakeSymbolLookupList"))
     | "the search database was built anew though nothing had changed"),
    (.[] | select(.reply and (.reply | tostring | startswith("find "))) | select((.symbols.total // 0) == 0)
     | "\(.reply): nothing was found"),
    (reply("count QV.F.") | select((.symbols.total // 0) == 0) | "the search database has no futures"),
    (.[] | select(.reply and (.reply | tostring | startswith("card "))) | select((.card.hours_utc // "") == "")
     | "\(.reply): no trading hours"),
    (.[] | select(.reply and (.reply | tostring | startswith("tree "))) | select((.names.total // 0) == 0)
     | "\(.reply): nothing is there"),
    (("rolls", "expiry") as $what
     | reply($what) | select(((.rolls // .expiry // {}).total // 0) == 0)
     | "there are no \({"rolls": "rolls", "expiry": "expiry dates"}[$what])"),
    (select($mode != "offline") | ("rolls", "expiry") as $what
     | reply($what) | select(.product.note) | "\($what): \(.product.note)"),
    (.[] | select(.reply and (.reply | tostring | startswith("myrolls ")))
     | select((.rolls.total // 0) == 0 or (.definitions.rows // [] | all(.companion == "up to date") | not))
     | "\(.reply): the companion is \(.definitions.rows[0].companion // "nowhere")"),
    (.[] | select(.reply and (.reply | tostring | startswith("factors "))) | select((.factors.total // 0) == 0)
     | "\(.reply): there are none"),
    (select($mode != "offline") | reply("plot")
     | select((.plot // [] | any(test("[┌┐└┘]─"))) and .svg | not) | "the factors weren't drawn"),
    (select($mode != "offline" and ($moved | not)) | .[] | select(.event == "ReportError") | "error \(.code): \(.text)"),
    (.[] | select(.event == "MessageBox") | "message box \"\(.title)\": \(.text)"),
    (.[] | select(.ok == false) | "request \(.reply): \(.error)")
] | .[]
