-- What did the button report in each of its states?
SELECT fingerDetect, buttonState, stage, terminalEvent, count(*) AS packets, min(force) AS least_force,
       max(force) AS greatest_force, max(pressCount) AS presses
FROM sshb_button
GROUP BY fingerDetect, buttonState, stage, terminalEvent
ORDER BY fingerDetect, buttonState, stage, terminalEvent
