-- expect: read_missing.sql:3:1: .read: cannot read no/such.sql
SELECT 1;
.read no/such.sql
SELECT 'NOT REACHED';
