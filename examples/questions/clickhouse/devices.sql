-- How do the devices differ? How many reports each has, in all and by category, in percent: those with the most.
SELECT device, count() AS reports,
       round(countIf(category = 'exec') * 100 / count(), 1) AS exec,
       round(countIf(category = 'sensor') * 100 / count(), 1) AS sensor,
       round(countIf(category = 'sshb') * 100 / count(), 1) AS sshb,
       round(countIf(category = 'uart') * 100 / count(), 1) AS uart,
       countIf(category = 'wake') AS wakes
FROM reports
GROUP BY device
ORDER BY reports DESC, device
LIMIT 5
