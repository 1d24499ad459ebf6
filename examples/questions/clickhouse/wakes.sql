-- What woke the hosts? Every reason, how often and on how many devices.
SELECT wake_reason, endpoint_ref, count() AS wakes, uniqExact(device) AS devices
FROM wake_request
GROUP BY wake_reason, endpoint_ref
ORDER BY wakes DESC, wake_reason, endpoint_ref
