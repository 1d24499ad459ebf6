-- What woke the host? Every request with its reason.
SELECT device, timestamp, sequence_num, wake_reason, endpoint_ref
FROM wake_request
ORDER BY device, timestamp
