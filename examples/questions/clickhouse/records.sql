-- Which records are there, and how much is in them?
SELECT substring(title, position(title, ';type=') + 6) AS kind, count() AS all_records, sum(reports) AS all_reports,
       sum(length(content)) AS bytes
FROM records
GROUP BY kind
ORDER BY all_records DESC, kind
