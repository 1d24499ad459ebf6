-- What happened around one moment? Everything from 12 ms before a device's last wake to 2 ms after it.
SELECT toInt64(timestamp) - toInt64(moment) AS after, sequence_num, category, component, event, type, w0, w2
FROM (SELECT device, timestamp, sequence_num, category, component, event, type, w0, w2 FROM reports
      WHERE device = 'device-0001') AS all_reports
ANY INNER JOIN (SELECT device, max(timestamp) AS moment FROM wake_request WHERE device = 'device-0001' GROUP BY device)
    AS wakes USING (device)
WHERE timestamp + 12000 >= moment AND timestamp <= moment + 2000
ORDER BY timestamp, sequence_num
