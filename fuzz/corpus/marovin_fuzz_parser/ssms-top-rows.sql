SELECT TOP (1000) [OrderID]
      ,[CustomerID]
      ,[Freight]
  FROM [Northwind].[dbo].[Orders]