-- Which records are there, and how much is in them?
SELECT substr(title, instr(title, ';type=') + 6) AS kind, count(*) AS records, sum(reports) AS all_reports,
       sum(length(content)) AS characters
FROM records
GROUP BY kind
ORDER BY records DESC
