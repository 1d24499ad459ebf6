-- Is it whole? What there is, and what it lacks.
SELECT count() AS all_dumps, uniqExact(device) AS devices, sum(reports) AS all_reports, sum(gaps) AS all_gaps,
       sum(missing) AS all_missing, countIf(trailing_bytes > 0) AS torn,
       round(sum(last_timestamp - first_timestamp) / 3.6e9, 1) AS hours
FROM dumps
