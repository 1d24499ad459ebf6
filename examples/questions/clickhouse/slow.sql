-- Which functions are slow? How long their calls took on all devices.
SELECT function_id, count() AS calls, uniqExact(device) AS devices, quantileExact(0.5)(duration) AS p50,
       quantileExact(0.9)(duration) AS p90, quantileExact(0.99)(duration) AS p99, max(duration) AS slowest
FROM function
GROUP BY function_id
ORDER BY p99 DESC, function_id
LIMIT 8
