-- What were the sensors configured to, and on how many devices?
SELECT name, report_interval, batch_interval, connected, decimation, gyroPowerMode, count() AS times,
       uniqExact(device) AS devices
FROM sensorinfo
GROUP BY name, report_interval, batch_interval, connected, decimation, gyroPowerMode
ORDER BY times DESC, name, report_interval, batch_interval, connected, decimation, gyroPowerMode
LIMIT 10
