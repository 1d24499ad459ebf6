-- How do the devices differ? How many reports each has, in all and by category, in percent.
SELECT device, count(*) AS reports,
       round(sum(CASE WHEN category = 'exec' THEN 1 ELSE 0 END) * 100.0 / count(*), 1) AS exec,
       round(sum(CASE WHEN category = 'sensor' THEN 1 ELSE 0 END) * 100.0 / count(*), 1) AS sensor,
       round(sum(CASE WHEN category = 'sshb' THEN 1 ELSE 0 END) * 100.0 / count(*), 1) AS sshb,
       round(sum(CASE WHEN category = 'uart' THEN 1 ELSE 0 END) * 100.0 / count(*), 1) AS uart,
       sum(CASE WHEN category = 'wake' THEN 1 ELSE 0 END) AS wakes
FROM reports
GROUP BY device
ORDER BY device
