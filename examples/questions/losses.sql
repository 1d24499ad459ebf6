-- Where was something lost? The reports whose number does not follow that of the one before, also because of a restart.
SELECT device, before, sequence_num, sequence_num - before - 1 AS missing, timestamp
FROM (SELECT device, sequence_num, timestamp,
             lag(sequence_num) OVER (PARTITION BY dump ORDER BY rowid) AS before
      FROM reports) AS pairs
WHERE sequence_num <> before + 1
