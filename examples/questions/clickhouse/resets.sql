-- What was reset, on how many devices, and did each reset end? The subjects of the button's traces, by component.
SELECT component, uniqExact(device) AS devices, countIf(trace = 'IBFDTimeout') AS timeouts,
       countIf(trace = 'ResetRequest') AS requested, countIf(trace = 'ResetBegin') AS begun,
       countIf(trace = 'ResetEnd') AS ended, countIf(trace = 'ResetComplete') AS completed
FROM sshb_trace
WHERE trace IN ('IBFDTimeout', 'ResetRequest', 'ResetBegin', 'ResetEnd', 'ResetComplete')
GROUP BY component
ORDER BY component
