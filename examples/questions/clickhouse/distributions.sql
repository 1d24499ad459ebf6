-- What do the counted values look like over all devices? Their number and percentiles.
SELECT substring(key, 15) AS name, uniqExact(device) AS devices, sum(count) AS values_counted,
       quantileExactWeighted(0.5)(value, count) AS p50, quantileExactWeighted(0.9)(value, count) AS p90,
       quantileExactWeighted(0.99)(value, count) AS p99, max(value) AS greatest
FROM distribution
WHERE key LIKE 'com.ondre.zel.button.%'
GROUP BY key
ORDER BY key
