# The medians of a benchmark program: an object of names, without what is set for all of them, and nanoseconds.
if [.benchmarks[] | select(.error_occurred)] | length > 0 then
    error("\([.benchmarks[] | select(.error_occurred) | "\(.name): \(.error_message)"] | unique | join("; "))")
else
    {ns: 1, us: 1e3, ms: 1e6, s: 1e9} as $units |
    [.benchmarks[] | select(.aggregate_name == "median") |
        {key: (.run_name | sub("/real_time$"; "")), value: (.real_time * $units[.time_unit])}] |
    from_entries
end
