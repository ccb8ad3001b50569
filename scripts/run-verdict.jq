# What went wrong in a start, a line each; nothing when all is well. Input: all lines of the host; $mode: the start.
def logged($text): any(.[]; .event == "WriteLog" and (.line | contains($text)));
def size($name; $section): map(select(.reply == "dump " + $name)) | last | .dump[$section] // [] | length;
def status($name): map(select(.reply == "status " + $name)) | last;
[
    (("INIT", "START", "LOGIN") as $step
     | select(status($step) | .ok and .result == 0 | not)
     | "\($step) ended with \(status($step) | .result // .error // "no reply")"),
    (("OpenTimeExchange", "orderExchange", "Underlying.List", "Underlying.F.List", "OptionStyle") as $table
     | select(size($table; "values") == 0)
     | "\($table) is empty"),
    (("rows", "tables") as $section | select(size("Security.Info"; $section) == 0)
     | "Security.Info has no \($section)"),
    (select(logged("LoadSecuritiesInfo-End") | not) | "no securities document was loaded"),
    (select($mode == "first" and (logged("QuerySecuritiesInfo have SecuritiesInfo") | not))
     | "no securities document came from the server"),
    (select($mode != "first" and logged("QuerySecuritiesInfo have SecuritiesInfo"))
     | "a document was downloaded though nothing had changed"),
    (select($mode != "offline") | .[] | select(.event == "ReportError") | "error \(.code): \(.text)"),
    (.[] | select(.event == "MessageBox") | "message box \"\(.title)\": \(.text)"),
    (.[] | select(.ok == false) | "request \(.reply): \(.error)")
] | .[]
