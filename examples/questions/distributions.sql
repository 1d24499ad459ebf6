-- What do the counted values look like? Their number, percentiles and shape.
SELECT device, substr(key, 15) AS name, sum(count) AS values_counted, quantile(value, 0.5, count) AS p50,
       quantile(value, 0.9, count) AS p90, quantile(value, 0.99, count) AS p99, max(value) AS greatest,
       histogram_text(value, count) AS shape
FROM distribution
WHERE key LIKE 'com.ondre.zel.button.%'
GROUP BY device, key
ORDER BY device, key
