-- Which function got slower? The median time of its calls in the first and in the second half of its dump.
SELECT device, function_id, calls, first_half, second_half, round(second_half * 1.0 / first_half, 2) AS times
FROM (SELECT f.device AS device, f.function_id AS function_id, count(*) AS calls,
             quantile(CASE WHEN f.timestamp < d.middle THEN f.duration END, 0.5) AS first_half,
             quantile(CASE WHEN f.timestamp >= d.middle THEN f.duration END, 0.5) AS second_half
      FROM function AS f
      JOIN (SELECT dump, first_timestamp + (last_timestamp - first_timestamp) / 2 AS middle FROM dumps) AS d
        ON d.dump = f.dump
      GROUP BY f.device, f.function_id) AS halves
WHERE calls >= 20
ORDER BY times DESC
LIMIT 5
