# Turns each line of the host into fields for the script that drives it, joined by the unit separator:
#   event, ms, kind, text        or        reply, id, ok, ms, result or error
def text:
    if .event == "WriteLog" then (.line // "" | ltrimstr("<Lumivale> "))
    elif .event == "ReportError" then "code \(.code), parameter \(.param): \(.text)"
    elif .event == "MessageBox" then "\(.title): \(.text)"
    elif .event == "SendTopic" then "\(.topic) \(.text)"
    else (.table // .topic // .name // "")
    end;
def refresh: .refresh | select(.) | "\(.passes) passes, \(if .running then "one runs" else "idle" end)";
def oneline: tostring | gsub("[\u0000-\u001f]"; " ");
if has("event") then ["event", .ms, .event, text]
else ["reply", .reply, .ok, .ms, (.result // .error // (.card.reset_utc // [])[0] // refresh // "")]
end
| map(oneline) | join("\u001f")
