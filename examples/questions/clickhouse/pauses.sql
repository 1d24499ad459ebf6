-- When did nothing happen? The dumps with the longest pause between a report and the one before it, and its start.
SELECT device, pause, start
FROM (SELECT device, arraySort(groupArray(timestamp)) AS times,
             arrayMap((later, earlier) -> later - earlier, arrayPopFront(times), arrayPopBack(times)) AS pauses,
             arrayReduce('max', pauses) AS pause, times[indexOf(pauses, pause)] AS start
      FROM reports
      GROUP BY device, dump) AS dumps
ORDER BY pause DESC, device
LIMIT 5
