SELECT
     GETDATE() AS Today
