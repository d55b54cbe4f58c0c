-- expect: capacity.sql:2:1: lxk_capacity: capacity must be between 0 and 16777216 bytes
SELECT lxk_capacity(-5);
SELECT 'NOT REACHED';
