-- Which threads are busiest? What their functions took together, and the share of the time that the dumps cover.
SELECT device, thread_id, count() AS calls, sum(duration) AS together, round(together * 100 / any(covered), 2) AS percent
FROM (SELECT device, thread_id, duration FROM function) AS calls_made
ANY INNER JOIN (SELECT device, sum(last_timestamp - first_timestamp) AS covered FROM dumps GROUP BY device) AS times
    USING (device)
GROUP BY device, thread_id
ORDER BY percent DESC, device, thread_id
LIMIT 8
