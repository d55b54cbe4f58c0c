-- expect: like_escape.sql:2:1: LIKE: an escape must be followed by %, _ or the escape itself
SELECT 'ab' LIKE 'a\b' ESCAPE '\';
SELECT 'NOT REACHED';
