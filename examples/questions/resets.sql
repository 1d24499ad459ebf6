-- What was reset, how often, and did each reset end? The subjects of the button's traces, by component.
SELECT device, component,
       sum(CASE WHEN trace = 'IBFDTimeout' THEN 1 ELSE 0 END) AS timeouts,
       sum(CASE WHEN trace = 'ResetRequest' THEN 1 ELSE 0 END) AS requested,
       sum(CASE WHEN trace = 'ResetBegin' THEN 1 ELSE 0 END) AS begun,
       sum(CASE WHEN trace = 'ResetEnd' THEN 1 ELSE 0 END) AS ended,
       sum(CASE WHEN trace = 'ResetComplete' THEN 1 ELSE 0 END) AS completed
FROM sshb_trace
WHERE trace IN ('IBFDTimeout', 'ResetRequest', 'ResetBegin', 'ResetEnd', 'ResetComplete')
GROUP BY device, component
ORDER BY device, component
