-- What happened around one moment? Everything from 12 ms before a wake to 2 ms after it.
SELECT timestamp - 5401512000 AS after, sequence_num, category, component, event, type, w0, w2
FROM reports
WHERE timestamp BETWEEN 5401500000 AND 5401514000
ORDER BY timestamp, sequence_num
