-- What was each sensor configured to, and since when?
SELECT device, name, report_interval, batch_interval, connected, decimation, gyroPowerMode, count(*) AS times,
       min(timestamp) AS first_time
FROM sensorinfo
GROUP BY device, name, report_interval, batch_interval, connected, decimation, gyroPowerMode
ORDER BY device, name, first_time
