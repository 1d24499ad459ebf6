-- Is it whole? What each dump has, and what it lacks.
SELECT device, reports, gaps, missing, trailing_bytes, (last_timestamp - first_timestamp) / 1e6 AS seconds
FROM dumps
ORDER BY device
