-- Which functions are slow? How long their calls took, the slowest tenth last.
SELECT device, function_id, count(*) AS calls, quantile(duration, 0.5) AS p50, quantile(duration, 0.9) AS p90,
       quantile(duration, 0.99) AS p99, max(duration) AS slowest, histogram_text(duration) AS durations
FROM function
GROUP BY device, function_id
ORDER BY p99 DESC, function_id
LIMIT 8
