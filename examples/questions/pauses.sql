-- When did nothing happen? The longest pauses between a report and the one before it.
SELECT device, pause, sequence_num, category, component, event
FROM (SELECT device, sequence_num, category, component, event,
             timestamp - lag(timestamp) OVER (PARTITION BY dump ORDER BY rowid) AS pause
      FROM reports) AS pauses
ORDER BY pause DESC
LIMIT 5
