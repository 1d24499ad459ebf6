-- Which threads are busiest? What their functions took together, and the share of the time between first and last report.
SELECT f.device, f.thread_id, count(*) AS calls, sum(f.duration) AS together,
       round(sum(f.duration) * 100.0 / max(d.last_timestamp - d.first_timestamp), 2) AS percent
FROM function AS f
JOIN dumps AS d ON d.dump = f.dump
GROUP BY f.device, f.thread_id
ORDER BY percent DESC
LIMIT 8
