-- expect: broken.sql:2:8: wrong number of arguments to function UPPER()
.read included/broken.sql
SELECT 'NOT REACHED';
