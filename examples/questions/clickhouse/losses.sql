-- Where was most lost? The reports whose number does not follow that of the one before, also because of a restart.
SELECT device, sum(gaps) AS all_gaps, sum(missing) AS all_missing, sum(reports) AS all_reports
FROM dumps
GROUP BY device
ORDER BY all_missing DESC, device
LIMIT 5
