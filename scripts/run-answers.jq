# What the service answered when it was asked for rolls and factors, for a person. Input: all lines of the host.
def pad($n): tostring | . + ((" " * ([$n - length, 0] | max)) // "");
def day: tostring | if test("^[0-9]{8}$") then "\(.[:4])-\(.[4:6])-\(.[6:])" else . end;
def moment: tostring | if test("^[0-9]{14}$") then "\(.[:8] | day) \(.[8:10]):\(.[10:12])" else . end;
def reply($name): map(select(.reply == $name)) | last // {};
def rest($total; $shown): if $total > $shown then ", and \($total - $shown) more" else "" end;

(reply("rolls") | select(.ok)
 | "  Rolls of \(.product.key), reset at \(.product.reset_utc // "no time") UTC"
   + (if .product.note then " (\(.product.note))" else "" end),
   (.rolls.rows[] | "    from \(.from | day)  \(.month)"),
   "    \(.rolls.total) in all"),
(reply("expiry") | select(.ok)
 | "  Expiry dates: " + (.expiry.rows | map("\(.month) on \(.expiry | day)") | join(", "))
   + rest(.expiry.total; .expiry.rows | length)),
(.[] | select(.ok and (.reply | tostring | startswith("myrolls ")))
 | (.definitions.rows[0] // {}) as $series
 | "  \($series.title), a series of the user's own in \($series.zone // "local") time: the companion is \($series.companion)",
   (.rolls.rows[]
    | "    \(.moment_utc // .from | moment | pad(16)) UTC  \(.month_before // "" | pad(6)) -> \(.month_after // "" | pad(6))  "
      + "\(.gap // .note)")),
(.[] | select(.ok and (.reply | tostring | startswith("factors ")))
 | "  \(.reply | sub("f"; "F") | sub(" "; " of ")), \(.answer): "
   + (.factors.rows | map("\(.sxd) from \(.date | day)") | join(", ")) + rest(.factors.total; .factors.rows | length)),
(reply("plot") | select(.ok) | (.plot[] | "    " + .), "    as a picture: \(.svg)")
