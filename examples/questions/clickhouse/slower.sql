-- Which function got slower, and where? The median time of its calls in the first and in the second half of a dump.
SELECT device, function_id, count() AS calls, quantileExactIf(0.5)(duration, timestamp < middle) AS first_half,
       quantileExactIf(0.5)(duration, timestamp >= middle) AS second_half,
       round(second_half / first_half, 2) AS times
FROM (SELECT device, dump, timestamp, function_id, duration FROM function) AS calls_made
ANY INNER JOIN (SELECT device, dump, first_timestamp + intDiv(last_timestamp - first_timestamp, 2) AS middle FROM dumps)
    AS halves USING (device, dump)
GROUP BY device, function_id
HAVING calls >= 20 AND first_half > 0
ORDER BY times DESC, device, function_id
LIMIT 5
